// kelkit fft, kelkit noise and kelkit average.
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <memory>

#include "command.hpp"

namespace {

int largest_power_of_two(int n) {
  int p = 1;
  while (p * 2 <= n)
    p *= 2;
  return p;
}

// Maps a FLOAT image linearly onto 0..255 (its minimum to 0, maximum to 255)
// into a new BYTE image, after an optional log(1 + v).
tool::ImagePtr to_bytes(Image *f, bool log_scale) {
  if (log_scale) {
    tool::check(kel_ln_add1(f), "kel_ln_add1");
  }
  tool::check(kel_scale2(f, 0.0f, 255.0f), "kel_scale2");
  tool::ImagePtr b = tool::new_image(BYTE, f->dx, f->dy);
  tool::check(kel_add2(f, b.get(), 1.0f), "kel_add2");
  return b;
}

int run_fft(const tool::Args &args, tool::Output &out) {
  const char *usage = "fft IMAGE POWER_OUT PHASE_OUT";
  tool::ImagePtr img = tool::load_image(tool::positional(args, 0, usage));
  const std::string &power_path = tool::positional(args, 1, usage);
  const std::string &phase_path = tool::positional(args, 2, usage);
  // The transform takes power-of-two sizes: the top-left block is used.
  int nx = largest_power_of_two(img->dx), ny = largest_power_of_two(img->dy);
  tool::ImagePtr re = tool::new_image(FLOAT, nx, ny), im = tool::new_image(FLOAT, nx, ny);
  im_clear_report();
  tool::check(kel_add2(img.get(), re.get(), 1.0f), "kel_add2");
  std::unique_ptr<kel_fft_coeff, int (*)(kel_fft_coeff *)> coeff(kel_fft_create_coeff(nx, ny, 0),
                                                                 kel_fft_delete_coeff);
  if (!coeff) tool::fail_from_last_report("kel_fft_create_coeff", KEL_ERR_NO_MEMORY);
  unsigned start = im_get_msec_count();
  tool::check(kel_fft_2d(re.get(), im.get(), coeff.get()), "kel_fft_2d");
  unsigned elapsed = im_get_msec_count() - start;
  tool::ImagePtr power = tool::new_image(FLOAT, nx, ny), phase = tool::new_image(FLOAT, nx, ny);
  tool::check(kel_fft_power(re.get(), im.get(), power.get()), "kel_fft_power");
  tool::check(kel_fft_phase(re.get(), im.get(), phase.get()), "kel_fft_phase");
  int x, y;
  float dc = kel_max2(power.get(), &x, &y);
  tool::save_image(power_path, to_bytes(power.get(), true).get());
  tool::save_image(phase_path, to_bytes(phase.get(), false).get());
  out.integer("transform width", nx);
  out.integer("transform height", ny);
  out.number("largest magnitude", dc);
  out.integer("largest at x", x);
  out.integer("largest at y", y);
  out.text("power image", power_path + " (centred, log scale)");
  out.text("phase image", phase_path + " (centred, -pi..pi onto 0..255)");
  out.integer("milliseconds", elapsed);
  return 0;
}

int run_noise(const tool::Args &args, tool::Output &out) {
  const char *usage =
      "noise OUT [--width W] [--height H] [--gauss] [--low L --high H | --mean M --dev D] [--seed "
      "S]";
  const std::string &target = tool::positional(args, 0, usage);
  int w = static_cast<int>(args.number("width", 256)),
      h = static_cast<int>(args.number("height", 256));
  bool word = args.option("type", "byte") == "word";
  tool::ImagePtr img = tool::new_image(word ? WORD : BYTE, w, h);
  std::unique_ptr<KelRandGen, int (*)(KelRandGen *)> gen(kel_rand_create(), kel_rand_delete);
  if (!gen) tool::fail_from_last_report("kel_rand_create", KEL_ERR_NO_MEMORY);
  im_clear_report();
  tool::check(kel_rand_seed(gen.get(), static_cast<unsigned>(args.number("seed", 1))),
              "kel_rand_seed");
  bool gauss = args.flag("gauss");
  double top = word ? 65535 : 255;
  if (gauss)
    tool::check(kel_gauss_noise(img.get(), static_cast<float>(args.number("dev", top / 8)),
                                static_cast<float>(args.number("mean", top / 2)), gen.get()),
                "kel_gauss_noise");
  else
    tool::check(kel_uniform_noise(img.get(), static_cast<float>(args.number("low", 0)),
                                  static_cast<float>(args.number("high", top)), gen.get()),
                "kel_uniform_noise");
  tool::save_image(target, img.get());
  out.text("output", target);
  out.text("distribution", gauss ? "gauss" : "uniform");
  out.number("mean", kel_mean(img.get()));
  out.number("std dev", std::sqrt(kel_variance2(img.get())));
  return 0;
}

int run_average(const tool::Args &args, tool::Output &out) {
  const char *usage = "average OUT IN1 IN2 ...";
  const std::string &target = tool::positional(args, 0, usage);
  if (args.positional().size() < 2)
    throw tool::Failure{"kelkit", KEL_ERR_ARGUMENT, std::string("usage: kelkit ") + usage};
  std::size_t n = args.positional().size() - 1;
  tool::ImagePtr first = tool::load_image(args.positional()[1]);
  std::unique_ptr<KelImgAvg, int (*)(KelImgAvg *)> acc(kel_imgavg_create(first->dx, first->dy),
                                                       kel_imgavg_delete);
  if (!acc)
    throw tool::Failure{"kel_imgavg_create", KEL_ERR_NO_MEMORY, "cannot make the accumulator"};
  bool progress = isatty(STDERR_FILENO) != 0;
  for (std::size_t i = 0; i < n; ++i) {
    tool::ImagePtr img = i == 0 ? std::move(first) : tool::load_image(args.positional()[i + 1]);
    im_clear_report();
    tool::check(kel_imgavg_accum(img.get(), acc.get()), "kel_imgavg_accum");
    if (progress) std::fprintf(stderr, "\raveraging %zu/%zu", i + 1, n);
  }
  if (progress) std::fprintf(stderr, "\n");
  tool::ImagePtr result = tool::new_image(BYTE, acc->dx, acc->dy);
  tool::check(kel_imgavg_result(acc.get(), result.get()), "kel_imgavg_result");
  tool::save_image(target, result.get());
  out.text("output", target);
  out.integer("images", static_cast<long long>(n));
  out.integer("width", result->dx);
  out.integer("height", result->dy);
  out.number("mean", kel_mean(result.get()));
  return 0;
}

const tool::Register fft_reg({"fft", "IMAGE POWER_OUT PHASE_OUT",
                              "2-D FFT: centred power (log scale) and phase images", run_fft});
const tool::Register noise_reg({"noise",
                                "OUT [--width W --height H] [--type byte|word] [--gauss] "
                                "[--low L --high H | --mean M --dev D] [--seed S]",
                                "uniform or Gaussian noise image", run_noise});
const tool::Register average_reg({"average", "OUT IN1 IN2 ...",
                                  "average many 8-bit images into one", run_average});

}  // namespace
