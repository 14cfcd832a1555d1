// Blob finding beside OpenCV's labeling with statistics: both find the
// 8-connected components of a binary image with their boxes, areas and
// centroids.
#include <opencv2/imgproc.hpp>

#include "bench_support.hpp"

namespace {

// A black image strewn with white blobs: filled rectangles of 1 to 8 pixels a
// side, some overlapping into larger shapes, one per 256 pixels on average
// (about 4000 blobs at 1024 by 1024).
kb::ImagePtr many_blobs(int size) {
  kb::ImagePtr img(im_create(BYTE, size, size));
  auto *p = static_cast<std::uint8_t *>(img->data);
  std::mt19937 gen(11);
  const long count = long(size) * size / 256;
  for (long i = 0; i < count; ++i) {
    int w = 1 + gen() % 8, h = 1 + gen() % 8;
    int x0 = gen() % (size - w), y0 = gen() % (size - h);
    for (int y = y0; y < y0 + h; ++y)
      for (int x = x0; x < x0 + w; ++x)
        p[std::size_t(y) * size + x] = 255;
  }
  return img;
}

// A black image with a dozen 20 by 20 squares.
kb::ImagePtr few_blobs(int size) {
  kb::ImagePtr img(im_create(BYTE, size, size));
  auto *p = static_cast<std::uint8_t *>(img->data);
  for (int k = 0; k < 12; ++k) {
    int x0 = (k * 977 + 31) % (size - 20), y0 = (k * 613 + 17) % (size - 20);
    for (int y = y0; y < y0 + 20; ++y)
      for (int x = x0; x < x0 + 20; ++x)
        p[std::size_t(y) * size + x] = 255;
  }
  return img;
}

template <class Make>
void register_case(const char *name, Make make) {
  kb::register_sizes(name, "kel", [make](benchmark::State &st, int n) {
    auto img = make(n);
    unsigned status;
    BlobParams *params = kel_blob_create_params(&status);
    BlobResults *results = kel_blob_create_results(1024, 1, &status);
    kel_blob_set_blob_color(params, 255);
    for (auto _ : st) {
      kel_blob_find(img.get(), params, results, KEL_BLOB_COORDS_IMAGE);
      benchmark::DoNotOptimize(results->num_found);
    }
    st.counters["blobs"] = kel_blob_get_num_found(results);
    kel_blob_delete_results(results);
    kel_blob_delete_params(params);
  });
  kb::register_sizes(name, "cv", [make](benchmark::State &st, int n) {
    auto img = make(n);
    cv::Mat m = kb::as_mat(img.get()), labels, stats, centroids;
    int found = 0;
    for (auto _ : st) {
      found = cv::connectedComponentsWithStats(m, labels, stats, centroids, 8, CV_32S);
      benchmark::DoNotOptimize(stats.data);
    }
    st.counters["blobs"] = found - 1;  // less the background
  });
}

const bool registered = [] {
  register_case("blob_find_many", many_blobs);
  register_case("blob_find_sparse", few_blobs);
  return true;
}();

}  // namespace
