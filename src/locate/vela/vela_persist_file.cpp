// The vela search's text parameter file and its companion model image.
#include <string>
#include <vector>

#include "frame/call.hpp"
#include "kelkit/vela.h"
#include "locate/persist_io.hpp"
#include "locate/vela/vela_record.hpp"

namespace {

using kel::locate::kFileFailure;

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
        image_name && *image_name ? std::string(image_name) : kel::locate::companion_name(path);
    {
      kel::locate::TextWriter out(path);
      if (!out.is_open()) return kFileFailure;
      auto put = [&](const Line &l) {
        if (l.i)
          out.put(p->*l.i);
        else
          out.put(p->*l.d);
      };
      for (const Line &l : kHead)
        put(l);
      out.put(p->sub_pixel_grid[0]);
      out.put(p->sub_pixel_grid[1]);
      for (const Line &l : kTail)
        put(l);
      for (int i = 0; i < p->alg_max; ++i) {
        out.put(p->linear_scale[i]);
        out.put(p->linear_offset[i]);
      }
      out.put(name);
      out.put(p->alg);
      if (!out.close()) return kel::fail(fn, kFileFailure, "Cannot write the parameter file");
    }
    return kel::locate::write_model_image(fn, name, p->model);
  });
}

KELKIT_API int kel_vela_search_load_params(KelVelaParams *p, const char *path) {
  return kel::guarded("kel_vela_search_load_params", [&](const char *fn) -> int {
    if (int e = kel::need_pointer(fn, p, "Params is NULL")) return e;
    if (int e = kel::need_pointer(fn, path, "Path is NULL")) return e;
    std::vector<double> head(std::size(kHead)), tail(std::size(kTail));
    int grid[2] = {}, alg = 0;
    std::vector<double> scale(p->alg_max > 0 ? p->alg_max : 0), offset(scale.size());
    std::string name;
    {
      kel::locate::TextReader in(path);
      if (!in.is_open()) return kFileFailure;
      auto get = [&](const Line &l, double &out) {
        if (l.i) {
          int v = 0;
          in.get(v);
          out = v;
        } else {
          in.get(out);
        }
      };
      for (std::size_t k = 0; k < head.size(); ++k)
        get(kHead[k], head[k]);
      in.get(grid[0]);
      in.get(grid[1]);
      for (std::size_t k = 0; k < tail.size(); ++k)
        get(kTail[k], tail[k]);
      for (std::size_t k = 0; k < scale.size(); ++k) {
        in.get(scale[k]);
        in.get(offset[k]);
      }
      in.get_name(name);
      in.get_last(alg);
      if (!in.ok()) return kel::fail(fn, kFileFailure, "Malformed parameter file");
      if (alg < 0 || alg > p->alg_max || alg > 2)
        return kel::fail(fn, kFileFailure, "Algorithm out of range");
    }
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
    return kel::locate::read_model_image(fn, name, &p->model);
  });
}

}  // extern "C"
