// The correlation search's text parameter file and its companion model image.
#include <iterator>
#include <string>

#include "frame/call.hpp"
#include "kelkit/search.h"
#include "locate/persist_io.hpp"
#include "locate/search/search_record.hpp"

namespace {

using kel::locate::kFileFailure;

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
        image_name && *image_name ? std::string(image_name) : kel::locate::companion_name(path);
    {
      kel::locate::TextWriter out(path);
      if (!out.is_open()) return kFileFailure;
      for (int KelSearchParams::*field : kIntFields)
        out.put(p->*field);
      out.put(p->subpix_bias_x);
      out.put(p->subpix_bias_y);
      out.put(name);
      if (!out.close()) return kel::fail(fn, kFileFailure, "Cannot write the parameter file");
    }
    return kel::locate::write_model_image(fn, name, p->model);
  });
}

KELKIT_API int kel_search_load_params(KelSearchParams *p, const char *path) {
  return kel::guarded("kel_search_load_params", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, p, "Params is NULL")) return e;
    if (int e = kel::need_pointer(fn, path, "Path is NULL")) return e;
    int values[std::size(kIntFields)];
    double bias_x = 0, bias_y = 0;
    std::string name;
    {
      kel::locate::TextReader in(path);
      if (!in.is_open()) return kFileFailure;
      for (int &v : values)
        in.get(v);
      in.get(bias_x);
      in.get(bias_y);
      in.get_name(name);
      if (!in.ok()) return kel::fail(fn, kFileFailure, "Malformed parameter file");
    }
    for (std::size_t i = 0; i < std::size(kIntFields); ++i)
      p->*kIntFields[i] = values[i];
    p->subpix_bias_x = bias_x;
    p->subpix_bias_y = bias_y;

    // The old model goes before the new one is sized and read.
    if (int e = kel::locate::read_model_image(fn, name, &p->model)) return e;
    kel::locate::set_score_constants(p, p->model);
    return KEL_OK;
  });
}

}  // extern "C"
