// Scenes and models shared by the search benchmarks: smooth textured scenes
// and models cut from them.
#pragma once

#include <opencv2/imgproc.hpp>

#include <cstdint>

#include "bench_support.hpp"

namespace kb {

// Random texture blurred by three passes of a 5-pixel box filter in each
// direction: a smooth grey-level surface like a matt industrial part.
inline ImagePtr smooth_texture(int dx, int dy, std::uint32_t seed) {
  ImagePtr noise = random_bytes(dx, dy, seed);
  cv::Mat m = as_mat(noise.get()), f;
  m.convertTo(f, CV_32F);
  for (int pass = 0; pass < 3; ++pass)
    cv::blur(f, f, cv::Size(5, 5), cv::Point(-1, -1), cv::BORDER_REFLECT);
  cv::normalize(f, f, 20, 235, cv::NORM_MINMAX);
  ImagePtr img(im_create(BYTE, dx, dy));
  f.convertTo(as_mat(img.get()), CV_8U);
  return img;
}

// A copy of the size by size square of `scene` whose top-left corner is
// (x, y).
inline ImagePtr cut_model(Image *scene, int x, int y, int size) {
  ImagePtr model(im_create(BYTE, size, size));
  Image *view = im_rroi(scene, x, y, size, size);
  im_copy(view, model.get());
  im_delete(view);
  return model;
}

}  // namespace kb
