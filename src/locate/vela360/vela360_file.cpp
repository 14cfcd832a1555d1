// The 360 search parameter file: 97 text lines in a fixed order, beside a
// model image (".bmp" unless named) and the model contours (".trc").
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>
#include "frame/regular_file.hpp"

#include "frame/call.hpp"
#include "frame/image_guard.hpp"
#include "locate/vela360/vela360_model.hpp"

namespace {

constexpr long kLimitsVersion = 4097;  // first version that stores the rotation limits

// The path with its extension (from the last dot on) replaced by `ext`.
std::string with_extension(const char *path, const char *ext) {
  std::string s(path);
  std::size_t dot = s.rfind('.');
  if (dot != std::string::npos) s.erase(dot);
  return s + ext;
}

struct File {
  std::FILE *f = nullptr;
  ~File() {
    if (f) std::fclose(f);
  }
};

// The persisted settings in file order, after the image name and the
// version. Each entry names a field as an int or a double.
struct Field {
  int kel_vela_360_params::*i = nullptr;
  double kel_vela_360_params::*d = nullptr;
};

using P = kel_vela_360_params;
const Field kFields[] = {
    {nullptr, &P::dRefCenterX},
    {nullptr, &P::dRefCenterY},
    {nullptr, &P::dRefAngle},
    {&P::nEdgeLevel, nullptr},
    {&P::nMinEdgeSize, nullptr},
    {&P::nMaxEdgeSize, nullptr},
    {&P::nChordSpan, nullptr},
    {nullptr, &P::dAux1},
    {&P::nModelRefX, nullptr},
    {&P::nModelRefY, nullptr},
    {&P::nUsrSceneOptimizeLeve, nullptr},
    {&P::nUsrPatternOptimizeLevel, nullptr},
    {&P::nCurvatureFilter, nullptr},
    {&P::nPatternsToFind, nullptr},
    {nullptr, &P::dMinScore},
    {nullptr, &P::dEarlyTerminationScore},
    {nullptr, &P::dAngleStep},
    {&P::nMinCandidates, nullptr},
    {&P::nAux2, nullptr},
    {&P::nAux4, nullptr},
    {&P::nAux5, nullptr},
    {&P::bCentroidReference, nullptr},
    {nullptr, &P::dAngleTolerance},
    {&P::nAux6, nullptr},
    {&P::nRTableMode, nullptr},
    {&P::nAux3, nullptr},  // after the mode, not beside nAux2: the file's order
    {&P::nProximityExclusionRad, nullptr},
    {&P::nAux7, nullptr},
    {&P::nManualOptimize, nullptr},
};

// Reads a contour file without reporting; false leaves `set` unchanged.
bool read_contours(const std::string &path, KelContourSet &set) {
  if (!kel::regular_file(path.c_str())) return false;
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(in),
                                  std::istreambuf_iterator<char>()};
  return kel::measure::decode_contours(bytes.data(), bytes.size(), set);
}

}  // namespace

extern "C" {

KELKIT_API int kel_vela_360_save_params(kel_vela_360_params *p, const char *path,
                                        const char *image_name) {
  return kel::guarded("kel_vela_360_save_params", [&](const char *) -> int {
    if (!p || !path) return KEL_ERR_FILE;
    File file;
    file.f = std::fopen(path, "w");
    if (!file.f) return KEL_ERR_FILE;
    std::string name =
        (image_name && *image_name) ? std::string(image_name) : with_extension(path, ".bmp");
    if (!p->pModelImage || im_file_write(name.c_str(), p->pModelImage, 0) != 0) return KEL_ERR_FILE;
    std::FILE *f = file.f;
    std::fprintf(f, "%s\n", name.c_str());
    std::fprintf(f, "%ld\n", static_cast<long>(p->nVersion));
    for (const Field &field : kFields) {
      if (field.i)
        std::fprintf(f, "%d\n", p->*field.i);
      else
        std::fprintf(f, "%f\n", p->*field.d);
    }
    for (int i = 0; i < 64; ++i)
      std::fprintf(f, "%d\n", p->anAuxTable ? p->anAuxTable[i] : 0);
    std::fprintf(f, "%f\n", p->dPatternMinAngle);
    std::fprintf(f, "%f\n", p->dPatternMaxAngle);
    bool ok = std::ferror(f) == 0;
    ok = std::fclose(f) == 0 && ok;
    file.f = nullptr;
    if (!ok) return KEL_ERR_FILE;
    if (p->pModelContours) {
      std::vector<std::uint8_t> bytes = kel::measure::encode_contours(*p->pModelContours);
      std::string trc = with_extension(path, ".trc");
      if (std::FILE *t = std::fopen(trc.c_str(), "wb")) {
        std::fwrite(bytes.data(), 1, bytes.size(), t);
        std::fclose(t);
      }
    }
    return KEL_OK;
  });
}

KELKIT_API int kel_vela_360_load_params(kel_vela_360_params *p, const char *path) {
  return kel::guarded("kel_vela_360_load_params", [&](const char *) -> int {
    if (!p) return KEL_ERR_NULL_RECORD;
    if (!path) return KEL_ERR_FILE;
    File file;
    file.f = kel::regular_file(path) ? std::fopen(path, "r") : nullptr;
    if (!file.f) return KEL_ERR_FILE;
    std::FILE *f = file.f;
    char stored[1024] = {};
    long version = 0;
    if (std::fscanf(f, "%1023s", stored) != 1 || std::fscanf(f, "%ld", &version) != 1)
      return KEL_ERR_FILE;
    kel_vela_360_params q = *p;  // the settings read, committed when all are read
    for (const Field &field : kFields) {
      int got =
          field.i ? std::fscanf(f, "%d", &(q.*field.i)) : std::fscanf(f, "%lf", &(q.*field.d));
      if (got != 1) return KEL_ERR_FILE;
    }
    int table[64];
    for (int &v : table)
      if (std::fscanf(f, "%d", &v) != 1) return KEL_ERR_FILE;
    if (version >= kLimitsVersion) {
      if (std::fscanf(f, "%lf", &q.dPatternMinAngle) != 1 ||
          std::fscanf(f, "%lf", &q.dPatternMaxAngle) != 1)
        return KEL_ERR_FILE;
    } else {
      q.dPatternMinAngle = -kel::locate::kPi;
      q.dPatternMaxAngle = kel::locate::kPi;
    }
    // A chord span no contour of an image can use would only cost memory
    // and time (the table has 2 k + 20 bins in mode 0): refused.
    if (q.nChordSpan < 0 || q.nChordSpan > kel::locate::kMaxChordSpan) return KEL_ERR_FILE;
    std::fclose(f);
    file.f = nullptr;
    for (const Field &field : kFields) {
      if (field.i)
        p->*field.i = q.*field.i;
      else
        p->*field.d = q.*field.d;
    }
    if (p->anAuxTable) std::memcpy(p->anAuxTable, table, sizeof table);
    p->dPatternMinAngle = q.dPatternMinAngle;
    p->dPatternMaxAngle = q.dPatternMaxAngle;

    // Only a name with a forward slash is taken as stored; any other name
    // (backslashes included) gives way to the file beside the parameters.
    std::string name =
        std::strchr(stored, '/') ? std::string(stored) : with_extension(path, ".bmp");
    if (p->pModelImage) {
      im_delete(p->pModelImage);
      p->pModelImage = nullptr;
    }
    int dx = 0, dy = 0;
    if (im_file_get_size(name.c_str(), 0, &dx, &dy, nullptr, nullptr) != 0) return KEL_ERR_FILE;
    kel::ImagePtr model = kel::make_image(BYTE, dx, dy);
    if (!model || im_file_read(name.c_str(), model.get(), 0) != 0) return KEL_ERR_FILE;
    p->pModelImage = model.release();

    if (!p->pModelContours) p->pModelContours = new KelContourSet();
    read_contours(with_extension(path, ".trc"), *p->pModelContours);
    const KelContourSet &c = *p->pModelContours;
    if (p->bCentroidReference && !c.x.empty()) {
      double sx = 0.0, sy = 0.0;
      for (std::size_t i = 0; i < c.x.size(); ++i) {
        sx += c.x[i];
        sy += c.y[i];
      }
      double n = static_cast<double>(c.x.size());
      p->nModelRefX = static_cast<int>(std::floor(std::round(sx / n * 65536.0) / 65536.0));
      p->nModelRefY = static_cast<int>(std::floor(std::round(sy / n * 65536.0) / 65536.0));
    }
    kel_vela_360_build_rtable(p);
    return KEL_OK;
  });
}

}  // extern "C"
