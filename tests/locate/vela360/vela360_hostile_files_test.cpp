// Regression tests for damaged 360-search files: a chord span of 5,000,000
// (which once cost seconds and most of a gigabyte) is refused with 112, and a
// contour file with a coordinate of 1e308 (which once left a reference point
// of INT_MIN) is refused.
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "kelkit.h"
#include "locate/vela360/vela360_scene.hpp"

namespace fs = std::filesystem;

TEST(Vela360HostileFiles, HugeChordSpanAndFarCoordinatesAreRefused) {
  const fs::path dir = fs::path(KELKIT_TEST_TMP_DIR) / ("v360_hostile_" + std::to_string(getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  kel_vela_360_params *p = kel_vela_360_create_params();
  Image *model = v360::draw_model();
  ASSERT_EQ(kel_vela_360_train(model, 0, 0, 120, 120, p), 0);
  const std::string prm = (dir / "m.txt").string();
  ASSERT_EQ(kel_vela_360_save_params(p, prm.c_str(), nullptr), 0);

  // Line 9 holds nChordSpan.
  std::vector<std::string> lines;
  {
    std::ifstream in(prm);
    for (std::string l; std::getline(in, l);)
      lines.push_back(l);
  }
  ASSERT_GT(lines.size(), 9u);
  EXPECT_EQ(lines[8], "15");
  lines[8] = "5000000";
  {
    std::ofstream out(prm);
    for (const std::string &l : lines)
      out << l << "\n";
  }
  kel_vela_360_params *q = kel_vela_360_create_params();
  EXPECT_EQ(kel_vela_360_load_params(q, prm.c_str()), KEL_ERR_FILE);
  EXPECT_EQ(q->nChordSpan, 15);  // the record is left as it was

  // The first point's x in the contour file (after a 32-byte header).
  const std::string trc = (dir / "m.trc").string();
  std::vector<char> bytes;
  {
    std::ifstream in(trc, std::ios::binary);
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  ASSERT_GT(bytes.size(), 40u);
  const double far = 1e308;
  std::memcpy(bytes.data() + 32, &far, 8);
  std::ofstream(trc, std::ios::binary)
      .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  int status = 0;
  KelContourSet *set = kel_ctd_create(&status);
  EXPECT_NE(kel_ctd_load(set, trc.c_str()), 0);
  kel_ctd_delete(set);

  kel_vela_360_delete_params(q);
  kel_vela_360_delete_params(p);
  im_delete(model);
  fs::remove_all(dir);
}
