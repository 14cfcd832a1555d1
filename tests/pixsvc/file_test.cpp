// Image files: round trips of every format and depth (masters and views),
// hand-made files of the forms other programs write, hostile headers, every
// failure report, and files corrupted byte by byte.
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "pixsvc.h"
#include "support/test_images.hpp"

namespace {

using Bytes = std::vector<std::uint8_t>;

std::string tmp(const std::string &name) {
  return std::string(KELKIT_TEST_TMP_DIR) + "/file_test_" + std::to_string(getpid()) + "_" + name;
}

void save(const std::string &path, const Bytes &bytes) {
  // A new file rather than a truncated one: truncating a file that holds
  // data makes some file systems flush it at close, which is slow.
  std::remove(path.c_str());
  std::ofstream f(path, std::ios::binary);
  f.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

Bytes slurp(const std::string &path) {
  std::ifstream f(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

void put16(Bytes &b, std::uint32_t v) {
  b.push_back(static_cast<std::uint8_t>(v));
  b.push_back(static_cast<std::uint8_t>(v >> 8));
}
void put32(Bytes &b, std::uint32_t v) {
  put16(b, v);
  put16(b, v >> 16);
}

// A BMP as other programs write it: 40-byte header, `palette` entries of
// (r, g, b) for 8-bit files, rows given top to bottom (each of width * bits/8
// bytes, blue-green-red for 24 bit) stored bottom-up unless top_down, padded.
Bytes bmp_file(int width, const std::vector<Bytes> &rows, int bits, bool top_down,
               const std::vector<std::array<int, 3>> &palette = {}) {
  const int height = static_cast<int>(rows.size());
  const std::uint32_t row_bytes = (width * bits + 31) / 32 * 4;
  const std::uint32_t offset = 14 + 40 + 4 * static_cast<std::uint32_t>(palette.size());
  Bytes b = {'B', 'M'};
  put32(b, offset + row_bytes * height);
  put32(b, 0);
  put32(b, offset);
  put32(b, 40);
  put32(b, static_cast<std::uint32_t>(width));
  put32(b, static_cast<std::uint32_t>(top_down ? -height : height));
  put16(b, 1);
  put16(b, static_cast<std::uint32_t>(bits));
  put32(b, 0);
  put32(b, row_bytes * height);
  put32(b, 0);
  put32(b, 0);
  put32(b, static_cast<std::uint32_t>(palette.size()));
  put32(b, 0);
  for (auto &c : palette) {
    b.push_back(static_cast<std::uint8_t>(c[2]));
    b.push_back(static_cast<std::uint8_t>(c[1]));
    b.push_back(static_cast<std::uint8_t>(c[0]));
    b.push_back(0);
  }
  for (int r = 0; r < height; ++r) {
    Bytes row = rows[top_down ? r : height - 1 - r];
    row.resize(row_bytes, 0xEE);  // padding must be ignored
    b.insert(b.end(), row.begin(), row.end());
  }
  return b;
}

// ---- a minimal PNG writer (stored deflate blocks) for hand-made files ------

std::uint32_t crc32(const std::uint8_t *p, std::size_t n, std::uint32_t crc = 0) {
  crc = ~crc;
  for (std::size_t i = 0; i < n; ++i) {
    crc ^= p[i];
    for (int k = 0; k < 8; ++k)
      crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1)));
  }
  return ~crc;
}

void put32be(Bytes &b, std::uint32_t v) {
  for (int s = 24; s >= 0; s -= 8)
    b.push_back(static_cast<std::uint8_t>(v >> s));
}

void chunk(Bytes &png, const char *type, const Bytes &data) {
  put32be(png, static_cast<std::uint32_t>(data.size()));
  Bytes body(type, type + 4);
  body.insert(body.end(), data.begin(), data.end());
  png.insert(png.end(), body.begin(), body.end());
  put32be(png, crc32(body.data(), body.size()));
}

// A PNG of `colour_type` and `depth` whose scanlines (filter byte 0 added
// here) are `rows`; `extra` chunks (PLTE, tRNS) go before the image data.
Bytes png_file(int width, int depth, int colour_type, const std::vector<Bytes> &rows,
               const std::vector<std::pair<const char *, Bytes>> &extra = {}) {
  Bytes png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
  Bytes ihdr;
  put32be(ihdr, static_cast<std::uint32_t>(width));
  put32be(ihdr, static_cast<std::uint32_t>(rows.size()));
  ihdr.insert(ihdr.end(),
              {static_cast<std::uint8_t>(depth), static_cast<std::uint8_t>(colour_type), 0, 0, 0});
  chunk(png, "IHDR", ihdr);
  for (auto &[type, data] : extra)
    chunk(png, type, data);
  Bytes raw;
  for (auto &r : rows) {
    raw.push_back(0);
    raw.insert(raw.end(), r.begin(), r.end());
  }
  // zlib stream of one stored block, then the Adler-32 of the raw bytes.
  Bytes z = {0x78, 0x01, 0x01};
  const auto n = static_cast<std::uint16_t>(raw.size());
  z.insert(z.end(), {static_cast<std::uint8_t>(n), static_cast<std::uint8_t>(n >> 8),
                     static_cast<std::uint8_t>(~n), static_cast<std::uint8_t>(~n >> 8)});
  z.insert(z.end(), raw.begin(), raw.end());
  std::uint32_t a = 1, b = 0;
  for (std::uint8_t c : raw) {
    a = (a + c) % 65521;
    b = (b + a) % 65521;
  }
  put32be(z, b << 16 | a);
  chunk(png, "IDAT", z);
  chunk(png, "IEND", {});
  return png;
}

// Loads `bytes` saved under `name` and returns the pixels (empty on failure).
std::vector<double> load_pixels(const std::string &name, const Bytes &bytes, int *status,
                                unsigned *type = nullptr) {
  save(tmp(name), bytes);
  Image *img = im_file_load(tmp(name).c_str(), status);
  if (!img) return {};
  if (type) *type = img->type;
  std::vector<double> px = kt::pixels(img);
  im_delete(img);
  return px;
}

class Files : public ::testing::Test {
 protected:
  void SetUp() override { kt::clear_report(); }
};

TEST_F(Files, EveryFormatRoundTripsAtEachDepthThroughViews) {
  struct Case {
    const char *ext;
    unsigned type;
  };
  const Case cases[] = {{"bmp", BYTE}, {"pgm", BYTE}, {"pgm", WORD},
                        {"png", BYTE}, {"png", WORD}, {"PnG", WORD}};
  std::uint32_t seed = 1;
  for (const Case &c : cases) {
    for (auto [dx, dy] : {std::pair{13, 7}, std::pair{1, 1}, std::pair{4, 2}}) {
      for (bool as_view : {false, true}) {
        SCOPED_TRACE(std::string(c.ext) + " type " + std::to_string(c.type) + " " +
                     std::to_string(dx) + "x" + std::to_string(dy) + (as_view ? " view" : ""));
        const std::string name = tmp(std::string("round.") + c.ext);
        kt::TestImage src = kt::random_image(c.type, dx, dy, seed++, as_view);
        ASSERT_EQ(im_file_write(name.c_str(), src, 0), IM_OK) << im_last_message();

        int w = -1, h = -1, bits = -1, reserved = -1;
        ASSERT_EQ(im_file_get_size(name.c_str(), 0, &w, &h, &bits, &reserved), IM_OK);
        EXPECT_EQ(w, dx);
        EXPECT_EQ(h, dy);
        EXPECT_EQ(bits, c.type == BYTE ? 8 : 16);
        EXPECT_EQ(reserved, 0);

        // Into a view with skip, into a FLOAT image, and through im_file_load.
        kt::TestImage dst = kt::view(c.type, dx, dy);
        ASSERT_EQ(im_file_read(name.c_str(), dst, 0), IM_OK) << im_last_message();
        EXPECT_EQ(kt::pixels(dst), kt::pixels(src));
        EXPECT_TRUE(kt::margin_intact(dst));
        kt::TestImage as_float = kt::view(FLOAT, dx, dy);
        ASSERT_EQ(im_file_read(name.c_str(), as_float, 0), IM_OK);
        EXPECT_EQ(kt::pixels(as_float), kt::pixels(src));
        EXPECT_TRUE(kt::margin_intact(as_float));
        int status = -1;
        Image *loaded = im_file_load(name.c_str(), &status);
        ASSERT_NE(loaded, nullptr);
        EXPECT_EQ(status, IM_OK);
        EXPECT_EQ(loaded->type, c.type);
        EXPECT_EQ(loaded->skip, 0);
        EXPECT_EQ(kt::pixels(loaded), kt::pixels(src));
        im_delete(loaded);
      }
    }
  }
  EXPECT_NO_REPORT();
}

TEST_F(Files, WrittenFilesHaveTheExpectedLayout) {
  kt::TestImage img = kt::image(WORD, 3, 2, {0, 1, 258, 65535, 4660, 7});
  ASSERT_EQ(im_file_write(tmp("layout.pgm").c_str(), img, 0), IM_OK);
  const std::string header = "P5\n3 2\n65535\n";
  Bytes expected(header.begin(), header.end());
  for (int v : {0, 1, 258, 65535, 4660, 7}) {
    expected.push_back(static_cast<std::uint8_t>(v >> 8));  // big-endian
    expected.push_back(static_cast<std::uint8_t>(v));
  }
  EXPECT_EQ(slurp(tmp("layout.pgm")), expected);

  // BMP: 1078-byte header with a grey palette, bottom-up rows padded to 4.
  kt::TestImage b = kt::image(BYTE, 3, 2, {1, 2, 3, 4, 5, 6});
  ASSERT_EQ(im_file_write(tmp("layout.bmp").c_str(), b, 0), IM_OK);
  Bytes bmp = slurp(tmp("layout.bmp"));
  ASSERT_EQ(bmp.size(), 1078u + 8u);
  EXPECT_EQ(bmp[28], 8);  // bits per pixel
  for (int i : {0, 1, 200, 255}) {
    EXPECT_EQ(bmp[54 + 4 * i], i);
    EXPECT_EQ(bmp[54 + 4 * i + 2], i);
  }
  EXPECT_EQ(Bytes(bmp.begin() + 1078, bmp.end()), (Bytes{4, 5, 6, 0, 1, 2, 3, 0}));
}

TEST_F(Files, HandMadeBmpPaletteColourAndTopDown) {
  int status = -1;
  // 8-bit, 3 wide (one padding byte a row), a colour palette: each index
  // becomes the luma of its colour, (77 R + 150 G + 29 B + 128) >> 8.
  const std::vector<std::array<int, 3>> palette = {{0, 0, 0},   {255, 0, 0},    {0, 255, 0},
                                                   {0, 0, 255}, {200, 100, 50}, {255, 255, 255}};
  const std::vector<Bytes> rows = {{0, 1, 2}, {3, 4, 5}};
  const std::vector<double> lumas = {0, 77, 149, 29, 124, 255};
  for (bool top_down : {false, true}) {
    EXPECT_EQ(load_pixels("pal.bmp", bmp_file(3, rows, 8, top_down, palette), &status), lumas);
    EXPECT_EQ(status, IM_OK) << im_last_message();
  }
  // A grey palette maps every index to itself, whatever its order.
  std::vector<std::array<int, 3>> grey(256);
  for (int i = 0; i < 256; ++i)
    grey[i] = {255 - i, 255 - i, 255 - i};
  EXPECT_EQ(load_pixels("grey.bmp", bmp_file(2, {{0, 255}, {10, 128}}, 8, false, grey), &status),
            (std::vector<double>{255, 0, 245, 127}));

  // 24-bit, 3 wide (9 bytes, padded to 12), blue-green-red per pixel.
  const std::vector<Bytes> colour = {{0, 0, 255, 0, 255, 0, 255, 0, 0},
                                     {50, 100, 200, 7, 7, 7, 255, 255, 255}};
  for (bool top_down : {false, true}) {
    EXPECT_EQ(load_pixels("rgb.bmp", bmp_file(3, colour, 24, top_down), &status),
              (std::vector<double>{77, 149, 29, 124, 7, 255}));
    EXPECT_EQ(status, IM_OK) << im_last_message();
  }
  int w = 0, h = 0, bits = 0;
  EXPECT_EQ(im_file_get_size(tmp("rgb.bmp").c_str(), 0, &w, &h, &bits, nullptr), IM_OK);
  EXPECT_EQ(w * 100 + h * 10 + bits / 8, 321);

  // An index beyond a short palette is a malformed file.
  EXPECT_TRUE(load_pixels("short.bmp", bmp_file(3, rows, 8, false, {{1, 1, 1}, {2, 2, 2}}), &status)
                  .empty());
  EXPECT_EQ(status, IM_ERR_FILE_FORMAT);
  EXPECT_REPORT("im_file_load", IM_ERR_FILE_FORMAT);
}

TEST_F(Files, HandMadePgmHeaderRules) {
  int status = -1;
  auto pgm = [](const std::string &header, const Bytes &pixels) {
    Bytes b(header.begin(), header.end());
    b.insert(b.end(), pixels.begin(), pixels.end());
    return b;
  };
  // Comments and every kind of white space; the one byte after maxval is a
  // space here, so the first sample may itself be a white-space value (10).
  unsigned type = 0;
  EXPECT_EQ(load_pixels("a.pgm", pgm("P5 # comment\r\n2\t#x\n\v2\f100 ", {10, 32, 0, 100}), &status,
                        &type),
            (std::vector<double>{10, 32, 0, 100}));
  EXPECT_EQ(status, IM_OK) << im_last_message();
  EXPECT_EQ(type, unsigned(BYTE));
  // maxval above 255: two bytes a sample, big-endian; trailing bytes ignored.
  EXPECT_EQ(load_pixels("b.pgm", pgm("P5\n2 1\n1000\n", {3, 231, 0, 1, 9, 9}), &status, &type),
            (std::vector<double>{999, 1}));
  EXPECT_EQ(type, unsigned(WORD));

  const char *bad[] = {
      "P2\n2 1\n255\n",    // ASCII form
      "P5\n2 1\n0\n",      // maxval 0
      "P5\n2 1\n65536\n",  // maxval too large
      "P5\n2 1\n255",      // no white space after maxval
      "P5\n2 1 # 255\n",   // maxval missing
      "P5\n0 1\n255\n",    // empty
      "P5\n-2 1\n255\n",   // negative
      "P5\n2 1\n255\n\n",  // fine header, but only 1 sample follows
  };
  for (const char *h : bad) {
    SCOPED_TRACE(h);
    EXPECT_TRUE(load_pixels("bad.pgm", pgm(h, {}), &status).empty());
    EXPECT_EQ(status, IM_ERR_FILE_FORMAT);
  }
}

TEST_F(Files, PngOfEveryColourTypeReadsAsGrey) {
  int status = -1;
  unsigned type = 0;
  // Grey 1, 2 and 4 bits: expanded to 8 bits (v * 255 / (2^bits - 1)).
  EXPECT_EQ(load_pixels("g1.png", png_file(3, 1, 0, {{0b10100000}}), &status, &type),
            (std::vector<double>{255, 0, 255}));
  EXPECT_EQ(status, IM_OK) << im_last_message();
  EXPECT_EQ(type, unsigned(BYTE));
  EXPECT_EQ(load_pixels("g2.png", png_file(4, 2, 0, {{0b00011011}}), &status),
            (std::vector<double>{0, 85, 170, 255}));
  EXPECT_EQ(load_pixels("g4.png", png_file(3, 4, 0, {{0x0F, 0x70}}), &status),
            (std::vector<double>{0, 255, 119}));
  // Grey with alpha: the alpha is dropped.
  EXPECT_EQ(load_pixels("ga.png", png_file(2, 8, 4, {{9, 0, 200, 255}}), &status),
            (std::vector<double>{9, 200}));
  // RGB, RGBA and 16-bit RGB: grey colours exact, others within one of luma.
  std::vector<double> px = load_pixels(
      "rgb.png", png_file(4, 8, 2, {{7, 7, 7, 255, 0, 0, 0, 255, 0, 200, 100, 50}}), &status);
  ASSERT_EQ(px.size(), 4u) << im_last_message();
  EXPECT_EQ(px[0], 7);
  for (auto [i, want] : {std::pair{1, 77}, {2, 149}, {3, 124}})
    EXPECT_NEAR(px[i], want, 1) << i;
  EXPECT_EQ(load_pixels("rgba.png", png_file(1, 8, 6, {{40, 40, 40, 0}}), &status),
            std::vector<double>{40});
  EXPECT_EQ(load_pixels("rgb16.png", png_file(1, 16, 2, {{0x12, 0x34, 0x12, 0x34, 0x12, 0x34}}),
                        &status, &type),
            std::vector<double>{0x1234});
  EXPECT_EQ(type, unsigned(WORD));
  // Palette, with a transparency chunk that is ignored.
  EXPECT_EQ(load_pixels("pal.png",
                        png_file(3, 8, 3, {{2, 0, 1}},
                                 {{"PLTE", {0, 0, 0, 60, 60, 60, 9, 9, 9}}, {"tRNS", {0, 128}}}),
                        &status),
            (std::vector<double>{9, 0, 60}));
  EXPECT_EQ(status, IM_OK) << im_last_message();
}

// The fuzzer's seed corpus holds the forms the hand-made helpers above do
// not make (interlaced and compressed PNG); each decodes to known values.
TEST_F(Files, SeedCorpusFilesDecodeToKnownValues) {
  const std::string dir = std::string(KELKIT_TEST_DATA_DIR) + "/../fuzz/corpus/";
  auto load = [&](const char *name, unsigned type) {
    int status = -1;
    Image *img = im_file_load((dir + name).c_str(), &status);
    EXPECT_EQ(status, IM_OK) << name << ": " << im_last_message();
    if (!img) return std::vector<double>{};
    EXPECT_EQ(img->type, type) << name;
    std::vector<double> px = kt::pixels(img);
    im_delete(img);
    return px;
  };
  std::vector<double> ramp;
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 5; ++x)
      ramp.push_back(10 * y + x);
  EXPECT_EQ(load("interlaced.png", BYTE), ramp);
  EXPECT_EQ(load("grey8.png", BYTE), (std::vector<double>{0, 128, 255, 1, 2, 3}));
  EXPECT_EQ(load("grey16.png", WORD), (std::vector<double>{4660, 65535}));
  EXPECT_EQ(load("rgba16.png", WORD), std::vector<double>{0});
  EXPECT_EQ(load("grey16.pgm", WORD), (std::vector<double>{0, 1, 999, 1000}));
  EXPECT_EQ(load("rgb24_topdown.bmp", BYTE), (std::vector<double>{1, 4, 7, 101, 104, 107}));
  EXPECT_EQ(load("palette8.bmp", BYTE), (std::vector<double>{77, 149, 29, 9}));
}

TEST_F(Files, HostileHeadersFailWithoutAllocating) {
  int status = -1;
  auto expect_refused = [&](const char *name, const Bytes &bytes) {
    SCOPED_TRACE(name);
    kt::clear_report();
    EXPECT_TRUE(load_pixels(name, bytes, &status).empty());
    EXPECT_EQ(status, IM_ERR_FILE_FORMAT);
    EXPECT_REPORT("im_file_load", IM_ERR_FILE_FORMAT);
    EXPECT_STRNE(im_last_message(), "");
  };
  auto patch32 = [](Bytes b, std::size_t at, std::uint32_t v) {
    for (int i = 0; i < 4; ++i)
      b[at + i] = static_cast<std::uint8_t>(v >> (8 * i));
    return b;
  };
  const Bytes bmp = bmp_file(2, {{1, 2, 3, 4, 5, 6}, {1, 2, 3, 4, 5, 6}}, 24, false);
  expect_refused("huge.bmp", patch32(patch32(bmp, 18, 100000), 22, 100000));
  expect_refused("toomany.bmp", patch32(patch32(bmp, 18, 46341), 22, 46341));  // > 2^31 - 1
  expect_refused("short.bmp", patch32(patch32(bmp, 18, 40000), 22, 40000));
  expect_refused("minheight.bmp", patch32(bmp, 22, 0x80000000u));
  expect_refused("zerowidth.bmp", patch32(bmp, 18, 0));
  expect_refused("offset.bmp", patch32(bmp, 10, 0xFFFFFFF0u));
  expect_refused("lowoffset.bmp", patch32(bmp, 10, 20));
  expect_refused("infosize.bmp", patch32(bmp, 14, 0xFFFFFFFFu));
  expect_refused("rle.bmp", patch32(bmp, 30, 1));
  Bytes bits4 = bmp;
  bits4[28] = 4;
  expect_refused("bits4.bmp", bits4);
  const Bytes pal = bmp_file(1, {{0}}, 8, false, {{0, 0, 0}});
  expect_refused("palette.bmp", patch32(pal, 46, 300));
  expect_refused("palette2.bmp", patch32(pal, 46, 200));  // runs into the pixels

  const std::string big = "P5\n100000 100000\n255\n";
  expect_refused("huge.pgm", Bytes(big.begin(), big.end()));
  const std::string over = "P5\n99999999999 1\n255\n";
  expect_refused("over.pgm", Bytes(over.begin(), over.end()));

  // 60000 x 60000 grey claimed by a few hundred bytes of image data.
  Bytes png = png_file(4, 8, 0, {{1, 2, 3, 4}});
  Bytes ihdr = {'I', 'H', 'D', 'R', 0, 0, 0xEA, 0x60, 0, 0, 0xEA, 0x60, 8, 0, 0, 0, 0};
  std::copy(ihdr.begin(), ihdr.end(), png.begin() + 12);
  std::uint32_t crc = crc32(ihdr.data(), ihdr.size());
  for (int i = 0; i < 4; ++i)
    png[29 + i] = static_cast<std::uint8_t>(crc >> (24 - 8 * i));
  expect_refused("huge.png", png);
  Bytes badcrc = png_file(4, 8, 0, {{1, 2, 3, 4}});
  badcrc[30] ^= 1;
  expect_refused("crc.png", badcrc);
}

TEST_F(Files, EveryFailureReportsItsCodeAndName) {
  kt::TestImage b = kt::image(BYTE, 4, 3);
  kt::TestImage w = kt::image(WORD, 4, 3);
  kt::TestImage f = kt::image(FLOAT, 4, 3);
  const std::string pgm = tmp("fail.pgm"), png16 = tmp("fail16.png");
  ASSERT_EQ(im_file_write(pgm.c_str(), b, 0), IM_OK);
  ASSERT_EQ(im_file_write(png16.c_str(), w, 0), IM_OK);

  struct Case {
    const char *fn;
    int code;
    std::function<int()> call;
  };
  kt::TestImage wrong_size = kt::image(BYTE, 4, 4), empty = kt::image(BYTE, 0, 3);
  int dx = 0, dy = 0;
  const std::vector<Case> cases = {
      {"im_file_read", IM_ERR_ARGUMENT, [&] { return im_file_read(nullptr, b, 0); }},
      {"im_file_read", IM_ERR_NULL_IMAGE, [&] { return im_file_read(pgm.c_str(), nullptr, 0); }},
      {"im_file_read", IM_ERR_SIZE, [&] { return im_file_read(pgm.c_str(), wrong_size, 0); }},
      {"im_file_read", IM_ERR_TYPE_MISMATCH, [&] { return im_file_read(pgm.c_str(), w, 0); }},
      {"im_file_read", IM_ERR_TYPE_MISMATCH, [&] { return im_file_read(png16.c_str(), b, 0); }},
      {"im_file_read", IM_ERR_FILE_OPEN,
       [&] { return im_file_read(tmp("none.pgm").c_str(), b, 0); }},
      {"im_file_read", IM_ERR_FILE_FORMAT,
       [&] { return im_file_read(tmp("x.tif").c_str(), b, 0); }},
      {"im_file_read", IM_ERR_FILE_FORMAT, [&] { return im_file_read("noext", b, 0); }},
      {"im_file_read", IM_ERR_FILE_FORMAT, [&] { return im_file_read("d.png/file", b, 0); }},
      {"im_file_write", IM_ERR_ARGUMENT, [&] { return im_file_write(nullptr, b, 0); }},
      {"im_file_write", IM_ERR_NULL_IMAGE, [&] { return im_file_write(pgm.c_str(), nullptr, 0); }},
      {"im_file_write", IM_ERR_TYPE, [&] { return im_file_write(pgm.c_str(), f, 0); }},
      {"im_file_write", IM_ERR_TYPE, [&] { return im_file_write(tmp("w.bmp").c_str(), w, 0); }},
      {"im_file_write", IM_ERR_SIZE, [&] { return im_file_write(tmp("e.png").c_str(), empty, 0); }},
      {"im_file_write", IM_ERR_FILE_FORMAT,
       [&] { return im_file_write(tmp("x.jpg").c_str(), b, 0); }},
      {"im_file_write", IM_ERR_FILE_OPEN,
       [&] { return im_file_write(tmp("no/dir.pgm").c_str(), b, 0); }},
      {"im_file_get_size", IM_ERR_ARGUMENT,
       [&] { return im_file_get_size(nullptr, 0, &dx, &dy, nullptr, nullptr); }},
      {"im_file_get_size", IM_ERR_ARGUMENT,
       [&] { return im_file_get_size(pgm.c_str(), 0, nullptr, &dy, nullptr, nullptr); }},
      {"im_file_get_size", IM_ERR_FILE_OPEN,
       [&] { return im_file_get_size(tmp("none.png").c_str(), 0, &dx, &dy, nullptr, nullptr); }},
      {"im_file_get_size", IM_ERR_FILE_FORMAT,
       [&] {
         return im_file_get_size(tmp("fail.bmp.txt").c_str(), 0, &dx, &dy, nullptr, nullptr);
       }},
  };
  for (const Case &c : cases) {
    kt::clear_report();
    EXPECT_EQ(c.call(), c.code) << c.fn << " " << c.code;
    EXPECT_REPORT(c.fn, c.code);
    EXPECT_STRNE(im_last_message(), "");
  }
  // A failed read leaves the destination untouched.
  EXPECT_EQ(kt::pixels(wrong_size), std::vector<double>(16, 0));

  // im_file_load: status and null result; a null status is allowed.
  int status = -1;
  EXPECT_EQ(im_file_load(nullptr, &status), nullptr);
  EXPECT_EQ(status, IM_ERR_ARGUMENT);
  EXPECT_REPORT("im_file_load", IM_ERR_ARGUMENT);
  EXPECT_EQ(im_file_load(tmp("none.bmp").c_str(), nullptr), nullptr);
  EXPECT_REPORT("im_file_load", IM_ERR_FILE_OPEN);

  // A write that fails when the data reaches the device.
  const std::string full = tmp("full.pgm");
  std::remove(full.c_str());
  if (symlink("/dev/full", full.c_str()) == 0) {
    kt::clear_report();
    EXPECT_EQ(im_file_write(full.c_str(), b, 0), IM_ERR_FILE_WRITE);
    EXPECT_REPORT("im_file_write", IM_ERR_FILE_WRITE);
    std::remove(full.c_str());
  }
}

// Real files written by the library, cut at every length and with every byte
// changed: each read returns a status and a report, never crashes (run under
// the sanitizers), and a cut file is always refused.
TEST_F(Files, TruncatedAndCorruptedFilesNeverCrash) {
  struct Case {
    const char *ext;
    unsigned type;
  };
  for (const Case &c :
       {Case{"bmp", BYTE}, {"pgm", BYTE}, {"pgm", WORD}, {"png", BYTE}, {"png", WORD}}) {
    SCOPED_TRACE(std::string(c.ext) + " type " + std::to_string(c.type));
    const std::string name = tmp(std::string("good.") + c.ext);
    const std::string bad = tmp(std::string("bad.") + c.ext);
    kt::TestImage src = kt::random_image(c.type, 5, 3, 42);
    ASSERT_EQ(im_file_write(name.c_str(), src, 0), IM_OK);
    const Bytes good = slurp(name);
    kt::TestImage dst = kt::image(c.type, 5, 3);

    for (std::size_t len = 0; len < good.size(); ++len) {
      save(bad, Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(len)));
      kt::clear_report();
      ASSERT_EQ(im_file_read(bad.c_str(), dst, 0), IM_ERR_FILE_FORMAT) << "length " << len;
      EXPECT_REPORT("im_file_read", IM_ERR_FILE_FORMAT);
    }
    int accepted = 0;
    for (std::size_t at = 0; at < good.size(); ++at) {
      for (std::uint8_t flip : {0xFF, 0x01}) {
        Bytes b = good;
        b[at] ^= flip;
        save(bad, b);
        kt::clear_report();
        int status = -1;
        Image *img = im_file_load(bad.c_str(), &status);
        if (img) {
          EXPECT_EQ(status, IM_OK);
          EXPECT_LE(static_cast<long long>(img->dx) * img->dy, 15 * 2) << "byte " << at;
          im_delete(img);
          ++accepted;
        } else {
          ASSERT_EQ(status, IM_ERR_FILE_FORMAT) << "byte " << at << ": " << im_last_message();
          EXPECT_REPORT("im_file_load", IM_ERR_FILE_FORMAT);
        }
      }
    }
    // Changes inside the pixels (or a BMP palette) still read; PNG's
    // checksums catch every change.
    if (std::string(c.ext) != "png") {
      EXPECT_GT(accepted, 0);
    }
  }
}

}  // namespace
