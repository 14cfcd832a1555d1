// The correlation search's text parameter file and its companion model image.
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <string>

#include "frame/call.hpp"
#include "frame/image_guard.hpp"
#include "kelkit/search.h"
#include "locate/search_record.hpp"

namespace {

constexpr int kFileFailure = 9;
constexpr int kNameLength = 255;

struct FileCloser {
  void operator()(std::FILE *f) const noexcept { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// The model image's default name: the path without everything from its last
// dot (anywhere in the path), plus ".bmp".
std::string companion_name(const char *path) {
  std::string name(path);
  std::size_t dot = name.rfind('.');
  if (dot != std::string::npos) name.erase(dot);
  return name + ".bmp";
}

// The thirteen integer fields in file order.
int KelSearchParams::*const kIntFields[] = {
    &KelSearchParams::scan_step_x,       &KelSearchParams::scan_step_y,
    &KelSearchParams::scan_pattern_x,    &KelSearchParams::scan_pattern_y,
    &KelSearchParams::auto_step,         &KelSearchParams::early_term,
    &KelSearchParams::suspicious,        &KelSearchParams::auto_retry,
    &KelSearchParams::sub_pixel,         &KelSearchParams::trained_step_x,
    &KelSearchParams::trained_step_y,    &KelSearchParams::trained_pattern_x,
    &KelSearchParams::trained_pattern_y,
};

}  // namespace

extern "C" {

KELKIT_API int kel_search_save_params(const KelSearchParams *p, const char *path,
                                      const char *image_name) {
  return kel::guarded("kel_search_save_params", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, p, "Params is NULL")) return e;
    if (int e = kel::need_pointer(fn, path, "Path is NULL")) return e;
    const std::string name =
        image_name && *image_name ? std::string(image_name) : companion_name(path);
    {
      File f(std::fopen(path, "w"));
      if (!f) return kFileFailure;
      bool ok = true;
      for (int KelSearchParams::*field : kIntFields)
        ok = ok && std::fprintf(f.get(), "%d\n", p->*field) > 0;
      ok = ok && std::fprintf(f.get(), "%f\n", p->subpix_bias_x) > 0;
      ok = ok && std::fprintf(f.get(), "%f\n", p->subpix_bias_y) > 0;
      ok = ok && std::fprintf(f.get(), "%s\n", name.c_str()) > 0;
      ok = std::fclose(f.release()) == 0 && ok;
      if (!ok) return kel::fail(fn, kFileFailure, "Cannot write the parameter file");
    }
    if (int e = im_file_write(name.c_str(), p->model, 0))
      return kel::fail(fn, e, "Cannot write the model image");
    return KEL_OK;
  });
}

KELKIT_API int kel_search_load_params(KelSearchParams *p, const char *path) {
  return kel::guarded("kel_search_load_params", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, p, "Params is NULL")) return e;
    if (int e = kel::need_pointer(fn, path, "Path is NULL")) return e;
    int values[std::size(kIntFields)];
    double bias_x = 0, bias_y = 0;
    char name[kNameLength + 1] = {};
    {
      File f(std::fopen(path, "r"));
      if (!f) return kFileFailure;
      bool ok = true;
      for (int &v : values)
        ok = ok && std::fscanf(f.get(), "%d\n", &v) == 1;
      ok = ok && std::fscanf(f.get(), "%lf\n", &bias_x) == 1;
      ok = ok && std::fscanf(f.get(), "%lf\n", &bias_y) == 1;
      ok = ok && std::fgets(name, sizeof name, f.get()) != nullptr;
      if (!ok) return kel::fail(fn, kFileFailure, "Malformed parameter file");
    }
    for (char &c : name)
      if (c == '\n' || c == '\r') c = '\0';
    for (std::size_t i = 0; i < std::size(kIntFields); ++i)
      p->*kIntFields[i] = values[i];
    p->subpix_bias_x = bias_x;
    p->subpix_bias_y = bias_y;

    // The old model goes before the new one is sized and read.
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
    kel::locate::set_score_constants(p, p->model);
    return KEL_OK;
  });
}

}  // extern "C"
