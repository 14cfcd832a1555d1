// The vela search's text parameter file and its companion model image.
#include <cstdio>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "frame/call.hpp"
#include "frame/image_guard.hpp"
#include "kelkit/vela.h"
#include "locate/vela_record.hpp"

namespace {

constexpr int kFileFailure = 9;
constexpr int kNameLength = 255;

struct FileCloser {
  void operator()(std::FILE *f) const noexcept { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

std::string companion_name(const char *path) {
  std::string name(path);
  std::size_t dot = name.rfind('.');
  if (dot != std::string::npos) name.erase(dot);
  return name + ".bmp";
}

// One line of the file: an int or a double field.
struct Line {
  int KelVelaParams::*i = nullptr;
  double KelVelaParams::*d = nullptr;
};

// Lines 1 to 28 in file order (the two sub_pixel_grid entries are lines 23
// and 24, handled by position).
using P = KelVelaParams;
const Line kHead[] = {
    {&P::scan_step_x},
    {&P::scan_step_y},
    {&P::scan_pattern_x},
    {&P::scan_pattern_y},
    {&P::auto_step},
    {&P::early_term},
    {&P::suspicious},
    {&P::auto_retry},
    {&P::sub_pixel},
    {&P::trained_step_x},
    {&P::trained_step_y},
    {&P::trained_pattern_x},
    {&P::trained_pattern_y},
    {nullptr, &P::subpix_bias_x},
    {nullptr, &P::subpix_bias_y},
    {&P::num_to_find},
    {&P::use_geom},
    {&P::cont_rev},
    {&P::edge_str},
    {&P::filter_size},
    {nullptr, &P::reject},
    {&P::involved_tol},
};
const Line kTail[] = {
    {&P::extscore_setting},
    {&P::hifeature},
    {nullptr, &P::model_mean},
    {nullptr, &P::model_variance},
};

// The values of one file, read before anything in the record changes.
struct Values {
  std::vector<int> ints;
  std::vector<double> doubles;
};

}  // namespace

extern "C" {

KELKIT_API int kel_vela_search_save_params(const KelVelaParams *p, const char *path,
                                           const char *image_name) {
  return kel::guarded("kel_vela_search_save_params", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, p, "Params is NULL")) return e;
    if (int e = kel::need_pointer(fn, path, "Path is NULL")) return e;
    if (!p->model) return kel::fail(fn, KEL_ERR_ARGUMENT, "No trained model");
    const std::string name =
        image_name && *image_name ? std::string(image_name) : companion_name(path);
    {
      File f(std::fopen(path, "w"));
      if (!f) return kFileFailure;
      bool ok = true;
      auto put = [&](const Line &l) {
        ok = ok && (l.i ? std::fprintf(f.get(), "%d\n", p->*l.i)
                        : std::fprintf(f.get(), "%f\n", p->*l.d)) > 0;
      };
      for (const Line &l : kHead)
        put(l);
      ok = ok && std::fprintf(f.get(), "%d\n%d\n", p->sub_pixel_grid[0], p->sub_pixel_grid[1]) > 0;
      for (const Line &l : kTail)
        put(l);
      for (int i = 0; i < p->alg_max; ++i)
        ok = ok && std::fprintf(f.get(), "%f\n%f\n", p->linear_scale[i], p->linear_offset[i]) > 0;
      ok = ok && std::fprintf(f.get(), "%s\n", name.c_str()) > 0;
      ok = ok && std::fprintf(f.get(), "%d\n", p->alg) > 0;
      ok = std::fclose(f.release()) == 0 && ok;
      if (!ok) return kel::fail(fn, kFileFailure, "Cannot write the parameter file");
    }
    if (int e = im_file_write(name.c_str(), p->model, 0))
      return kel::fail(fn, e, "Cannot write the model image");
    return KEL_OK;
  });
}

KELKIT_API int kel_vela_search_load_params(KelVelaParams *p, const char *path) {
  return kel::guarded("kel_vela_search_load_params", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, p, "Params is NULL")) return e;
    if (int e = kel::need_pointer(fn, path, "Path is NULL")) return e;
    std::vector<double> head(std::size(kHead)), tail(std::size(kTail));
    int grid[2] = {}, alg = 0;
    std::vector<double> scale(p->alg_max > 0 ? p->alg_max : 0), offset(scale.size());
    char name[kNameLength + 1] = {};
    {
      File f(std::fopen(path, "r"));
      if (!f) return kFileFailure;
      bool ok = true;
      auto get = [&](const Line &l, double &out) {
        if (l.i) {
          int v = 0;
          ok = ok && std::fscanf(f.get(), "%d\n", &v) == 1;
          out = v;
        } else {
          ok = ok && std::fscanf(f.get(), "%lf\n", &out) == 1;
        }
      };
      for (std::size_t k = 0; k < head.size(); ++k)
        get(kHead[k], head[k]);
      ok = ok && std::fscanf(f.get(), "%d\n%d\n", &grid[0], &grid[1]) == 2;
      for (std::size_t k = 0; k < tail.size(); ++k)
        get(kTail[k], tail[k]);
      for (std::size_t k = 0; k < scale.size(); ++k)
        ok = ok && std::fscanf(f.get(), "%lf\n%lf\n", &scale[k], &offset[k]) == 2;
      ok = ok && std::fgets(name, sizeof name, f.get()) != nullptr;
      ok = ok && std::fscanf(f.get(), "%d", &alg) == 1;
      if (!ok) return kel::fail(fn, kFileFailure, "Malformed parameter file");
      if (alg < 0 || alg > p->alg_max || alg > 2)
        return kel::fail(fn, kFileFailure, "Algorithm out of range");
    }
    for (char &c : name)
      if (c == '\n' || c == '\r') c = '\0';
    auto set = [&](const Line &l, double v) {
      if (l.i)
        p->*l.i = static_cast<int>(v);
      else
        p->*l.d = v;
    };
    for (std::size_t k = 0; k < head.size(); ++k)
      set(kHead[k], head[k]);
    p->sub_pixel_grid[0] = grid[0];
    p->sub_pixel_grid[1] = grid[1];
    for (std::size_t k = 0; k < tail.size(); ++k)
      set(kTail[k], tail[k]);
    for (std::size_t k = 0; k < scale.size(); ++k) {
      p->linear_scale[k] = scale[k];
      p->linear_offset[k] = offset[k];
    }
    p->alg = alg;
    kel::locate::install_alg(p, alg);

    // The old model and everything made from it go before the new model is
    // sized and read.
    kel::locate::drop_derived(p);
    if (p->model) im_delete(p->model);
    p->model = nullptr;
    int dx = 0, dy = 0;
    if (im_file_get_size(name, 0, &dx, &dy, nullptr, nullptr) != 0)
      return kel::fail(fn, kFileFailure, "Cannot size the model image");
    kel::ImagePtr model = kel::make_image(BYTE, dx, dy);
    if (!model) throw std::bad_alloc();
    p->model = model.release();
    if (int e = im_file_read(name, p->model, 0))
      return kel::fail(fn, e, "Cannot read the model image");
    return KEL_OK;
  });
}

}  // extern "C"
