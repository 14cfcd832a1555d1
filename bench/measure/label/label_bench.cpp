// Labeling beside OpenCV's connected components, single-threaded, with the
// same connectivity. kel_label repaints its image in place, so every
// iteration starts from a fresh copy (outside the timed part) and frees the
// list it made (inside it: the records are the result).
#include <opencv2/imgproc.hpp>

#include <cstring>

#include "bench_support.hpp"

namespace {

// A black image strewn with white shapes: filled rectangles of 1 to 8 pixels
// a side, some overlapping into larger shapes, one per 256 pixels on average
// (about 4000 objects at 1024 by 1024, 60000 at 4096 by 4096).
kb::ImagePtr many_objects(int size) {
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

void register_case(const char *name, int connectivity) {
  kb::register_sizes(name, "kel", [connectivity](benchmark::State &st, int n) {
    auto pristine = many_objects(n);
    auto work = kb::ImagePtr(im_duplicate(pristine.get()));
    const std::size_t bytes = std::size_t(n) * n;
    unsigned count = 0;
    for (auto _ : st) {
      st.PauseTiming();
      std::memcpy(work->data, pristine->data, bytes);
      st.ResumeTiming();
      LabelRecord *list = kel_label(work.get(), 255, connectivity, 1, 254, &count);
      kel_label_delete_list(list);
    }
    st.counters["objects"] = count;
  });
  kb::register_sizes(name, "cv", [connectivity](benchmark::State &st, int n) {
    auto img = many_objects(n);
    cv::Mat m = kb::as_mat(img.get()), labels;
    int found = 0;
    for (auto _ : st) {
      found = cv::connectedComponents(m, labels, connectivity, CV_32S);
      benchmark::DoNotOptimize(labels.data);
    }
    st.counters["objects"] = found - 1;  // less the background
  });
}

const bool registered = [] {
  register_case("label_8", 8);
  register_case("label_4", 4);
  return true;
}();

}  // namespace
