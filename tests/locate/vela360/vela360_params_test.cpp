// The 360 search records and parameter file: defaults, accessors, the file's
// line order and round trip, the fields it leaves alone, the version rule,
// the image-name rule, the centroid reference, and the R-table bins.
#include <unistd.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "kelkit/vela360.h"
#include "locate/vela360/vela360_scene.hpp"

namespace {

namespace fs = std::filesystem;
constexpr double kPi = 3.141592653589793;

std::vector<std::string> lines_of(const fs::path &p) {
  std::ifstream f(p);
  std::vector<std::string> out;
  for (std::string s; std::getline(f, s);)
    out.push_back(s);
  return out;
}

void write_lines(const fs::path &p, const std::vector<std::string> &lines) {
  std::ofstream f(p);
  for (const auto &s : lines)
    f << s << "\n";
}

fs::path tmp(const char *name) {
  // ctest runs tests in parallel processes: each keeps its own folder.
  const fs::path dir = fs::path(KELKIT_TEST_TMP_DIR) / ("v360p_" + std::to_string(getpid()));
  fs::create_directories(dir);
  return dir / name;
}

kel_vela_360_params *trained() {
  kel_vela_360_params *p = kel_vela_360_create_params();
  Image *m = v360::draw_model();
  EXPECT_EQ(kel_vela_360_train(m, 0, 0, 120, 120, p), 0);
  im_delete(m);
  return p;
}

TEST(Vela360Records, DefaultsAndAccessors) {
  kel_vela_360_params *p = kel_vela_360_create_params();
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->nVersion, 4097);
  EXPECT_EQ(p->nEdgeLevel, 25);
  EXPECT_EQ(p->nMinEdgeSize, 20);
  EXPECT_EQ(p->nMaxEdgeSize, 10000);
  EXPECT_EQ(p->nChordSpan, 15);
  EXPECT_EQ(p->dAux1, 1.0);
  EXPECT_EQ(p->nModelRefX, 10);
  EXPECT_EQ(p->nModelRefY, 10);
  EXPECT_EQ(p->nUsrSceneOptimizeLeve, 9);
  EXPECT_EQ(p->nUsrPatternOptimizeLevel, 2);
  EXPECT_EQ(p->nPatternsToFind, 1);
  EXPECT_EQ(p->dMinScore, 30.0);
  EXPECT_EQ(p->dEarlyTerminationScore, 90.0);
  EXPECT_EQ(p->dAngleStep, 0.026179938779914945);
  EXPECT_EQ(p->nMinCandidates, 25);
  EXPECT_EQ(p->nAux2 * 1000 + p->nAux3 * 100 + p->nAux4 * 10 + p->nAux5, 5155);
  EXPECT_EQ(p->bCentroidReference, 1);
  EXPECT_EQ(p->dAngleTolerance, 0.5235987755982988);
  EXPECT_EQ(p->nAux6, 5);
  EXPECT_EQ(p->nRTableMode, 2);
  EXPECT_EQ(p->nProximityExclusionRad, 10);
  EXPECT_EQ(p->nReversedPolarity, 0);
  EXPECT_EQ(p->nAux7, 0);
  EXPECT_EQ(p->nAux8, 3);
  EXPECT_EQ(p->nManualOptimize, 0);
  EXPECT_EQ(p->dPatternMinAngle, -kPi);
  EXPECT_EQ(p->dPatternMaxAngle, kPi);
  ASSERT_NE(p->anAuxTable, nullptr);
  for (int i = 0; i < 64; ++i)
    EXPECT_EQ(p->anAuxTable[i], 0);
  EXPECT_EQ(p->pModelImage, nullptr);
  EXPECT_EQ(p->pRTable, nullptr);
  EXPECT_EQ(p->pModelContours, nullptr);

  kel_vela_360_set_nPatternsToFind(p, 4);
  kel_vela_360_set_dRefCenterX(p, 1.5);
  kel_vela_360_set_dRefCenterY(p, 2.5);
  kel_vela_360_set_dRefAngle(p, 0.25);
  kel_vela_360_set_nEdgeLevel(p, 31);
  kel_vela_360_set_nMinEdgeSize(p, 32);
  kel_vela_360_set_nMaxEdgeSize(p, 33);
  kel_vela_360_set_nUsrPatternOptimizeLevel(p, 34);
  kel_vela_360_set_nUsrSceneOptimizeLeve(p, 35);
  kel_vela_360_set_nCurvatureFilter(p, 36);
  kel_vela_360_set_dMinScore(p, 37.5);
  kel_vela_360_set_dEarlyTerminationScore(p, 38.5);
  kel_vela_360_set_nMinCandidates(p, 39);
  kel_vela_360_set_nProximityExclusionRad(p, 40);
  kel_vela_360_set_nReversedPolarity(p, 41);
  kel_vela_360_set_nManualOptimize(p, 42);
  kel_vela_360_set_pattern_min_angle(p, -1.25);
  kel_vela_360_set_pattern_max_angle(p, 1.75);
  EXPECT_EQ(kel_vela_360_get_nPatternsToFind(p), 4);
  EXPECT_EQ(kel_vela_360_get_dRefCenterX(p), 1.5);
  EXPECT_EQ(kel_vela_360_get_dRefCenterY(p), 2.5);
  EXPECT_EQ(kel_vela_360_get_dRefAngle(p), 0.25);
  EXPECT_EQ(kel_vela_360_get_nEdgeLevel(p), 31);
  EXPECT_EQ(kel_vela_360_get_nMinEdgeSize(p), 32);
  EXPECT_EQ(kel_vela_360_get_nMaxEdgeSize(p), 33);
  EXPECT_EQ(kel_vela_360_get_nUsrPatternOptimizeLevel(p), 34);
  EXPECT_EQ(kel_vela_360_get_nUsrSceneOptimizeLeve(p), 35);
  EXPECT_EQ(kel_vela_360_get_nCurvatureFilter(p), 36);
  EXPECT_EQ(kel_vela_360_get_dMinScore(p), 37.5);
  EXPECT_EQ(kel_vela_360_get_dEarlyTerminationScore(p), 38.5);
  EXPECT_EQ(kel_vela_360_get_nMinCandidates(p), 39);
  EXPECT_EQ(kel_vela_360_get_nProximityExclusionRad(p), 40);
  EXPECT_EQ(kel_vela_360_get_nReversedPolarity(p), 41);
  EXPECT_EQ(kel_vela_360_get_nManualOptimize(p), 42);
  EXPECT_EQ(kel_vela_360_get_pattern_min_angle(p), -1.25);
  EXPECT_EQ(kel_vela_360_get_pattern_max_angle(p), 1.75);
  kel_vela_360_delete_params(p);
  kel_vela_360_delete_params(nullptr);

  kel_vela_360_results *r = kel_vela_360_create_results(3);
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(kel_vela_360_get_found(r), 0);
  EXPECT_EQ(r->nCapacity, 3);
  r->pX[2] = 1;
  r->pY[2] = 2;
  r->pAngle[2] = 3;
  r->pScale[2] = 4;
  r->pScore[2] = 5;
  EXPECT_EQ(kel_vela_360_get_x(r, 2) + kel_vela_360_get_y(r, 2) * 10 +
                kel_vela_360_get_angle(r, 2) * 100 + kel_vela_360_get_scale(r, 2) * 1000 +
                kel_vela_360_get_score(r, 2) * 10000,
            54321);
  kel_vela_360_delete_results(r);
  kel_vela_360_delete_results(nullptr);
}

// A straight open contour of 41 points, span 5, mode 0: points 5 .. 35 are
// described and fall in bin k + 10 = 15. The modulo n - 2 rule wraps the
// forward neighbour of points 34 and 35 (39 and 40 are read as points 0 and
// 1), which turns their chord round to pi. Bins grow by doubling.
TEST(Vela360RTable, BinsForKnownContours) {
  kel_vela_360_params *p = kel_vela_360_create_params();
  const std::string path = tmp("rtable_line.trc").string();
  {
    // A horizontal line of 41 points written as a contour file.
    std::ofstream f(path, std::ios::binary);
    auto put32 = [&](std::uint32_t v) { f.write(reinterpret_cast<const char *>(&v), 4); };
    auto put64 = [&](double v) { f.write(reinterpret_cast<const char *>(&v), 8); };
    put32(0x4352544B);
    put32(1);
    for (int v : {25, 20, 10000, 1})
      put32(static_cast<std::uint32_t>(v));
    put32(41);
    put32(1);
    for (int i = 0; i < 41; ++i) {
      put64(10.0 + i);
      put64(20.0);
      put64(kPi / 2);
      put32(0);
    }
    put32(0);
    put32(41);
    put32(0);
  }
  p->pModelContours = kel_ctd_create(nullptr);
  ASSERT_EQ(kel_ctd_load(p->pModelContours, path.c_str()), 0);
  p->nChordSpan = 5;
  p->nRTableMode = 0;
  p->nModelRefX = 30;
  p->nModelRefY = 20;
  kel_vela_360_rtable *t = kel_vela_360_build_rtable(p);
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(t, p->pRTable);
  EXPECT_EQ(t->nBins, 2 * 5 + 20);
  int total = 0;
  for (int b = 0; b < t->nBins; ++b)
    total += t->pBins[b].nCount;
  EXPECT_EQ(t->pBins[15].nCount, total);
  EXPECT_EQ(total, 31);  // points 5 .. 35
  EXPECT_EQ(t->pBins[15].nCapacity, 32);
  EXPECT_DOUBLE_EQ(t->pBins[15].pEntries[28].dChordAngle, 0.0);             // point 33
  EXPECT_DOUBLE_EQ(std::fabs(t->pBins[15].pEntries[29].dChordAngle), kPi);  // point 34, wrapped
  EXPECT_EQ(t->pBins[0].nCapacity, 1);
  const kel_vela_360_entry &e = t->pBins[15].pEntries[0];  // point 5 at (15, 20)
  EXPECT_DOUBLE_EQ(e.dRadius, 15.0);
  EXPECT_DOUBLE_EQ(e.dChordAngle, 0.0);
  EXPECT_DOUBLE_EQ(std::fabs(e.dAlpha), kPi);
  EXPECT_DOUBLE_EQ(e.dDirOffset, -kPi / 2);
  EXPECT_EQ(e.pAttribute, kel_ctd_attribute(p->pModelContours) + 5);
  // Modes 1 and 2: 4096 bins, a straight line lands in bin 0.
  p->nRTableMode = 2;
  t = kel_vela_360_build_rtable(p);
  EXPECT_EQ(t->nBins, 4096);
  EXPECT_EQ(t->pBins[0].nCount, 31);
  // A contour shorter than 2k + 1 adds nothing.
  p->nChordSpan = 21;
  t = kel_vela_360_build_rtable(p);
  total = 0;
  for (int b = 0; b < t->nBins; ++b)
    total += t->pBins[b].nCount;
  EXPECT_EQ(total, 0);
  kel_vela_360_delete_params(p);
  std::remove(path.c_str());
}

TEST(Vela360File, LineOrderRoundTripAndUntouchedFields) {
  kel_vela_360_params *p = trained();
  p->dRefCenterX = 12.5;
  p->dRefCenterY = -3.25;
  p->dRefAngle = 0.5;
  p->nEdgeLevel = 26;
  p->nMinEdgeSize = 21;
  p->nMaxEdgeSize = 9999;
  p->dAux1 = 1.5;
  p->nUsrSceneOptimizeLeve = 8;
  p->nUsrPatternOptimizeLevel = 3;
  p->nCurvatureFilter = 1;
  p->nPatternsToFind = 2;
  p->dMinScore = 31.0;
  p->dEarlyTerminationScore = 91.0;
  p->dAngleStep = 0.03;
  p->nMinCandidates = 26;
  p->nAux2 = 6;
  p->nAux3 = 2;
  p->nAux4 = 4;
  p->nAux5 = 6;
  p->bCentroidReference = 0;
  p->dAngleTolerance = 0.5;
  p->nAux6 = 7;
  p->nProximityExclusionRad = 11;
  p->nAux7 = 9;
  p->nManualOptimize = 1;
  for (int i = 0; i < 64; ++i)
    p->anAuxTable[i] = i * 3 - 7;
  p->dPatternMinAngle = -1.0;
  p->dPatternMaxAngle = 2.0;
  p->nReversedPolarity = 1;
  p->nAux8 = 17;
  const int ref_x = p->nModelRefX, ref_y = p->nModelRefY;
  const fs::path file = tmp("v360_roundtrip.txt");
  ASSERT_EQ(kel_vela_360_save_params(p, file.c_str(), nullptr), 0);
  EXPECT_TRUE(fs::exists(tmp("v360_roundtrip.bmp")));
  EXPECT_TRUE(fs::exists(tmp("v360_roundtrip.trc")));

  std::vector<std::string> lines = lines_of(file);
  ASSERT_EQ(lines.size(), 97u);
  EXPECT_EQ(lines[0], tmp("v360_roundtrip.bmp").string());
  EXPECT_EQ(lines[1], "4097");
  EXPECT_EQ(lines[2], "12.500000");
  EXPECT_EQ(lines[8], "15");  // nChordSpan
  EXPECT_EQ(lines[9], "1.500000");
  EXPECT_EQ(lines[10], std::to_string(ref_x));
  EXPECT_EQ(lines[12], "8");
  EXPECT_EQ(lines[15], "2");
  EXPECT_EQ(lines[18], "0.030000");
  EXPECT_EQ(lines[20], "6");  // nAux2
  EXPECT_EQ(lines[21], "4");  // nAux4
  EXPECT_EQ(lines[22], "6");  // nAux5
  EXPECT_EQ(lines[23], "0");  // bCentroidReference
  EXPECT_EQ(lines[25], "7");  // nAux6
  EXPECT_EQ(lines[26], "2");  // nRTableMode
  EXPECT_EQ(lines[27], "2");  // nAux3, after the mode
  EXPECT_EQ(lines[28], "11");
  EXPECT_EQ(lines[29], "9");
  EXPECT_EQ(lines[30], "1");
  EXPECT_EQ(lines[31], "-7");
  EXPECT_EQ(lines[94], "182");
  EXPECT_EQ(lines[95], "-1.000000");
  EXPECT_EQ(lines[96], "2.000000");

  kel_vela_360_params *q = kel_vela_360_create_params();
  q->nReversedPolarity = 5;
  q->nAux8 = 6;
  ASSERT_EQ(kel_vela_360_load_params(q, file.c_str()), 0);
  EXPECT_EQ(q->nReversedPolarity, 5);
  EXPECT_EQ(q->nAux8, 6);
  EXPECT_EQ(q->nVersion, 4097);
  EXPECT_EQ(q->dRefCenterX, 12.5);
  EXPECT_EQ(q->dRefCenterY, -3.25);
  EXPECT_EQ(q->dRefAngle, 0.5);
  EXPECT_EQ(q->nEdgeLevel, 26);
  EXPECT_EQ(q->nMinEdgeSize, 21);
  EXPECT_EQ(q->nMaxEdgeSize, 9999);
  EXPECT_EQ(q->nChordSpan, 15);
  EXPECT_EQ(q->dAux1, 1.5);
  EXPECT_EQ(q->nModelRefX, ref_x);  // centroid reference off: as stored
  EXPECT_EQ(q->nModelRefY, ref_y);
  EXPECT_EQ(q->nUsrSceneOptimizeLeve, 8);
  EXPECT_EQ(q->nUsrPatternOptimizeLevel, 3);
  EXPECT_EQ(q->nCurvatureFilter, 1);
  EXPECT_EQ(q->nPatternsToFind, 2);
  EXPECT_EQ(q->dMinScore, 31.0);
  EXPECT_EQ(q->dEarlyTerminationScore, 91.0);
  EXPECT_EQ(q->dAngleStep, 0.03);
  EXPECT_EQ(q->nMinCandidates, 26);
  EXPECT_EQ(q->nAux2, 6);
  EXPECT_EQ(q->nAux3, 2);
  EXPECT_EQ(q->nAux4, 4);
  EXPECT_EQ(q->nAux5, 6);
  EXPECT_EQ(q->bCentroidReference, 0);
  EXPECT_EQ(q->dAngleTolerance, 0.5);
  EXPECT_EQ(q->nAux6, 7);
  EXPECT_EQ(q->nRTableMode, 2);
  EXPECT_EQ(q->nProximityExclusionRad, 11);
  EXPECT_EQ(q->nAux7, 9);
  EXPECT_EQ(q->nManualOptimize, 1);
  for (int i = 0; i < 64; ++i)
    EXPECT_EQ(q->anAuxTable[i], i * 3 - 7);
  EXPECT_EQ(q->dPatternMinAngle, -1.0);
  EXPECT_EQ(q->dPatternMaxAngle, 2.0);
  ASSERT_NE(q->pModelImage, nullptr);
  EXPECT_EQ(q->pModelImage->dx, 120);
  ASSERT_NE(q->pRTable, nullptr);
  EXPECT_EQ(kel_ctd_get_point_count(q->pModelContours), kel_ctd_get_point_count(p->pModelContours));

  // With the centroid reference the reference point moves to the centroid
  // of the contour points, rounded down.
  lines[23] = "1";
  lines[10] = "0";
  lines[11] = "0";
  write_lines(file, lines);
  ASSERT_EQ(kel_vela_360_load_params(q, file.c_str()), 0);
  const int n = kel_ctd_get_point_count(q->pModelContours);
  double sx = 0, sy = 0;
  for (int i = 0; i < n; ++i) {
    sx += kel_ctd_x(q->pModelContours)[i];
    sy += kel_ctd_y(q->pModelContours)[i];
  }
  EXPECT_EQ(q->nModelRefX, static_cast<int>(std::floor(sx / n)));
  EXPECT_EQ(q->nModelRefY, static_cast<int>(std::floor(sy / n)));

  // A version below 4097 loads the default limits (its last two lines are
  // not read), and the version is not stored.
  lines[1] = "4096";
  lines.resize(95);
  write_lines(file, lines);
  q->dPatternMinAngle = 0.1;
  ASSERT_EQ(kel_vela_360_load_params(q, file.c_str()), 0);
  EXPECT_EQ(q->dPatternMinAngle, -kPi);
  EXPECT_EQ(q->dPatternMaxAngle, kPi);
  EXPECT_EQ(q->nVersion, 4097);
  // Version 4097 without the limits is incomplete.
  lines[1] = "4097";
  write_lines(file, lines);
  EXPECT_EQ(kel_vela_360_load_params(q, file.c_str()), KEL_ERR_FILE);

  kel_vela_360_delete_params(p);
  kel_vela_360_delete_params(q);
  for (const char *ext : {".txt", ".bmp", ".trc"})
    fs::remove(tmp("v360_roundtrip").string() + ext);
}

// The stored image name counts only when it holds a forward slash; an empty
// or null name on saving puts the image beside the file.
TEST(Vela360File, ImageNameRuleAndFailures) {
  kel_vela_360_params *p = trained();
  const fs::path dir = tmp("v360_names");
  fs::create_directories(dir / "other");
  const fs::path file = dir / "params.dat";
  const std::string elsewhere = (dir / "other" / "model.bmp").string();
  ASSERT_EQ(kel_vela_360_save_params(p, file.c_str(), elsewhere.c_str()), 0);
  EXPECT_TRUE(fs::exists(elsewhere));
  EXPECT_FALSE(fs::exists(dir / "params.bmp"));
  kel_vela_360_params *q = kel_vela_360_create_params();
  EXPECT_EQ(kel_vela_360_load_params(q, file.c_str()), 0);  // read from other/
  // A name without a forward slash is replaced by the name beside the file,
  // which does not exist yet.
  std::vector<std::string> lines = lines_of(file);
  lines[0] = "other\\model.bmp";
  write_lines(file, lines);
  EXPECT_EQ(kel_vela_360_load_params(q, file.c_str()), KEL_ERR_FILE);
  fs::copy_file(elsewhere, dir / "params.bmp");
  EXPECT_EQ(kel_vela_360_load_params(q, file.c_str()), 0);
  ASSERT_EQ(kel_vela_360_save_params(p, file.c_str(), ""), 0);
  EXPECT_EQ(lines_of(file)[0], (dir / "params.bmp").string());

  EXPECT_EQ(kel_vela_360_load_params(nullptr, file.c_str()), KEL_ERR_NULL_RECORD);
  EXPECT_EQ(kel_vela_360_load_params(q, (dir / "missing.dat").c_str()), KEL_ERR_FILE);
  EXPECT_EQ(kel_vela_360_save_params(p, (dir / "no" / "such.dat").c_str(), nullptr), KEL_ERR_FILE);
  EXPECT_EQ(kel_vela_360_save_params(p, file.c_str(), (dir / "no" / "m.bmp").c_str()),
            KEL_ERR_FILE);
  lines.resize(40);
  write_lines(file, lines);
  EXPECT_EQ(kel_vela_360_load_params(q, file.c_str()), KEL_ERR_FILE);
  kel_vela_360_params *empty = kel_vela_360_create_params();
  EXPECT_EQ(kel_vela_360_save_params(empty, file.c_str(), nullptr), KEL_ERR_FILE);
  kel_vela_360_delete_params(empty);
  kel_vela_360_delete_params(p);
  kel_vela_360_delete_params(q);
  fs::remove_all(dir);
}

}  // namespace
