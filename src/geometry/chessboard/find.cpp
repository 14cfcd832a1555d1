// Chessboard corner finding: kel_chessboard_find.
#include <cmath>

#include "frame/call.hpp"
#include "geometry/chessboard/chessboard.hpp"
#include "kelkit/calibration.h"

extern "C" KELKIT_API int kel_chessboard_find(const Image *img, int cols, int rows, double *x,
                                              double *y) {
  return kel::guarded("kel_chessboard_find", [&](const char *fn) -> int {
    if (int e = kel::need_image(fn, img)) return e;
    if (!x || !y) return kel::fail(fn, KEL_ERR_ARGUMENT, "pointer is NULL");
    if (cols < 2 || rows < 2 || cols > 1000 || rows > 1000)
      return kel::fail(fn, KEL_ERR_ARGUMENT, "Board size");
    if (img->type != BYTE && img->type != WORD && img->type != FLOAT)
      return kel::fail(fn, KEL_ERR_TYPE, "Unsupported pixel type");
    if (img->dx < 16 || img->dy < 16) return kel::fail(fn, KEL_ERR_AREA_SMALL, "Area too small!");
    using namespace kel::chessboard;
    const Plane smoothed = gaussian(plane_of(img), kSmoothing);
    std::vector<Point> candidates = saddle_candidates(smoothed, cols * rows, 4 * cols * rows + 200);
    std::vector<Point> grid;

    if (!grow_grid(candidates, cols, rows, grid))
      return kel::fail(fn, KEL_ERR_NOT_FOUND, "Chessboard not found");
    refine_corners(smoothed, cols, rows, grid);
    for (std::size_t k = 0; k < grid.size(); ++k) {
      if (!std::isfinite(grid[k].x) || !std::isfinite(grid[k].y))
        return kel::fail(fn, KEL_ERR_NOT_FOUND, "Chessboard not found");
    }
    for (std::size_t k = 0; k < grid.size(); ++k) {
      x[k] = grid[k].x;
      y[k] = grid[k].y;
    }
    return KEL_OK;
  });
}
