// Fuzz target for the keyed storage file and the inspection file kept in it.
// Each input is stored as a file, opened as storage and every key read with
// every reader; then it is loaded as an inspection file, and a file that
// loads must save and load again to the same bytes.
//
// Built with libFuzzer (KELKIT_LIBFUZZER) it is a normal fuzz target. Built
// without it, main() replays the files and directories named on the command
// line; corpus files named *.kvi must load as inspection files, so the replay
// doubles as a test of the corpus. `storage_fuzzer --write-seeds DIR` writes
// the seed corpus with the library itself.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz_support.hpp"
#include "inspect/storage.hpp"
#include "kelkit/inspect.h"

namespace {

using kel::inspect::CKelStorage;
using Bytes = std::vector<std::uint8_t>;

std::string temp_name(const char *what) {
  return fuzz::temp_name("storage", what);
}
using fuzz::write_file;
Bytes slurp(const std::string &path) {
  return fuzz::read_file(path);
}
void require(bool ok, const char *what) {
  fuzz::require("storage_fuzzer", ok, what);
}

void read_storage(const std::string &path) {
  CKelStorage s;
  const int status = s.OpenForRead(path.c_str());
  require(status == 0 || status == 4 || status == 6 || status == 7 || status == 9,
          "unexpected open status");
  if (status != 0) return;
  std::vector<std::string> keys;
  for (const auto &kv : s.Index())
    keys.push_back(kv.first);
  for (const std::string &k : keys) {
    std::int32_t i;
    std::uint32_t u;
    float f;
    double d;
    std::uint8_t b;
    std::string str;
    char text[64];
    s.ReadInt(k.c_str(), &i, 0);
    s.ReadUInt(k.c_str(), &u, 0);
    s.ReadFloat(k.c_str(), &f, 0);
    s.ReadDouble(k.c_str(), &d, 0);
    s.ReadByte(k.c_str(), &b, 0);
    s.ReadString(k.c_str(), &str, "");
    s.ReadText(k.c_str(), text, sizeof text, "");
    require(s.ReadIntDiscard(k.c_str(), 0) != 0, "ReadIntDiscard succeeded");
    std::uint32_t size = 0;
    if (s.ReadBlob(k.c_str(), nullptr, &size) == 0) {
      Bytes blob(size);
      require(s.ReadBlob(k.c_str(), blob.data(), nullptr) == 0, "blob size and bytes disagree");
    }
    if (s.SeekKey(k.c_str()) == 0) {
      std::uint8_t raw[64];
      s.ReadRaw(raw, sizeof raw);
    }
  }
}

// Loads `path` as an inspection file; returns the status. A file that loads
// must save and load back to the same bytes as its own save.
int load_inspection(const std::string &path) {
  int status = -1;
  KelInspect *tool = kel_vela_inspect_create(&status);
  require(tool != nullptr, "create failed");
  status = kel_vela_inspect_load(tool, path.c_str());
  require(status == KEL_OK || status == KEL_ERR_FILE || status == KEL_ERR_NO_MEMORY,
          "unexpected load status");
  if (status == KEL_OK) {
    const std::string once = temp_name("once.kvi"), twice = temp_name("twice.kvi");
    require(kel_vela_inspect_save(tool, once.c_str()) == KEL_OK, "save of a loaded file failed");
    KelInspect *again = kel_vela_inspect_create(nullptr);
    require(kel_vela_inspect_load(again, once.c_str()) == KEL_OK, "saved file does not load");
    require(kel_vela_inspect_save(again, twice.c_str()) == KEL_OK, "second save failed");
    require(slurp(once) == slurp(twice), "save, load and save differ");
    kel_vela_inspect_delete(again);
    std::remove(once.c_str());
    std::remove(twice.c_str());
  }
  kel_vela_inspect_delete(tool);
  return status;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  const std::string path = temp_name("input");
  if (!write_file(path, data, size)) return 0;
  read_storage(path);
  load_inspection(path);
  std::remove(path.c_str());
  return 0;
}

#ifndef KELKIT_LIBFUZZER
namespace {

// The seeds: a storage file with one record of every type, and inspection
// files of a tool before and after learning, with blocking regions.
int write_seeds(const std::filesystem::path &dir) {
  std::filesystem::create_directories(dir);
  CKelStorage s;
  if (s.OpenForWrite((dir / "records.kst").c_str()) != 0) return 1;
  const std::uint8_t blob[3] = {9, 8, 7};
  s.WriteInt("int", -5);
  s.WriteUInt("uint", 5);
  s.WriteFloat("float", 0.25f);
  s.WriteDouble("double", 1e-3);
  s.WriteByte("byte", 200);
  s.WriteText("text", "text");
  s.WriteString("string", "string");
  s.WriteBlob("blob", blob, sizeof blob);
  s.MarkKey("raw");
  s.WriteRaw(blob, sizeof blob);
  if (s.CloseWrite() != 0) return 1;

  KelInspect *tool = kel_vela_inspect_create(nullptr);
  kel_vela_inspect_set_m_nBoxDx(tool, 4);
  kel_vela_inspect_set_m_nBoxDy(tool, 4);
  kel_vela_inspect_add_block_rect(tool, 2, 2, 3, 3);
  kel_vela_inspect_add_block_circle(tool, 10, 6, 2);
  if (kel_vela_inspect_save(tool, (dir / "empty.kvi").c_str()) != 0) return 1;
  Image *img = im_create(BYTE, 12, 8);
  for (int k = 0; k < 3; ++k) {
    for (int y = 0; y < img->dy; ++y)
      for (int x = 0; x < img->dx; ++x)
        static_cast<std::uint8_t *>(img->rows[y])[x] = static_cast<std::uint8_t>(x * 9 + y + k);
    kel_vela_inspect_learn(tool, img, nullptr);
  }
  im_delete(img);
  const int status = kel_vela_inspect_save(tool, (dir / "learned.kvi").c_str());
  kel_vela_inspect_delete(tool);
  return status == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc == 3 && std::string(argv[1]) == "--write-seeds") return write_seeds(argv[2]);
  // Every corpus file is fuzzed; an inspection file (.kvi) must also load.
  return fuzz::replay_corpus("storage_fuzzer", argc, argv, [](const std::filesystem::path &file) {
    Bytes bytes = slurp(file.string());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    return file.extension() != ".kvi" || load_inspection(file.string()) == KEL_OK;
  });
}
#endif
