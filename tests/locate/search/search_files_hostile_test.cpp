// Regression tests for hostile files and sizes: a parameter file whose model
// image line names a FIFO fails at once (it once blocked the loader), image
// files must be regular files, and an averaging accumulator of impossible size
// is refused before any memory is asked for (it once ran for minutes).
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <climits>
#include <filesystem>
#include <fstream>
#include <string>

#include "kelkit.h"

namespace fs = std::filesystem;

TEST(HostileFiles, SpecialFilesAreRefusedWithoutBlocking) {
  const fs::path dir =
      fs::path(KELKIT_TEST_TMP_DIR) / ("hostile_files_" + std::to_string(getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  const std::string fifo = (dir / "model.bmp").string();
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  // A valid file layout whose companion image is the FIFO.
  const std::string prm = (dir / "p.prm").string();
  std::ofstream(prm) << "8\n8\n8\n8\n1\n100\n90\n1\n1\n8\n8\n8\n8\n0.0\n0.0\n" << fifo << "\n";
  KelSearchParams *p = kel_search_create_params();
  EXPECT_NE(kel_search_load_params(p, prm.c_str()), 0);
  EXPECT_EQ(kel_search_load_params(p, dir.c_str()), 9);  // a folder is no parameter file
  kel_search_delete_params(p);
  int status = 0;
  Image *img = im_file_load(fifo.c_str(), &status);
  EXPECT_EQ(img, nullptr);
  EXPECT_NE(status, 0);
  fs::remove_all(dir);
}

TEST(HostileFiles, AveragingAccumulatorSizeIsBounded) {
  EXPECT_EQ(kel_imgavg_create(INT_MAX, INT_MAX), nullptr);
  EXPECT_EQ(kel_imgavg_create(100000, 100000), nullptr);
  EXPECT_EQ(kel_imgavg_create(1 << 15, (1 << 13) + 1), nullptr);
  KelImgAvg *ok = kel_imgavg_create(1 << 14, 1 << 14);
  EXPECT_NE(ok, nullptr);
  kel_imgavg_delete(ok);
}
