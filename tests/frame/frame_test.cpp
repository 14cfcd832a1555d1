// The processor switch, the length-prefixed string copy and the version.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "kelkit.h"

namespace {

TEST(Frame, ProcessorSwitchFollowsTheProcessor) {
  int has = kel_cpu_has_mmx();
  EXPECT_EQ(has, im_cpu_has_mmx() ? 1 : 0);
  kel_set_use_mmx(1);
  EXPECT_EQ(kel_use_mmx(), has);  // never 1 on a processor without MMX
  kel_set_use_mmx(7);
  EXPECT_EQ(kel_use_mmx(), has);
  kel_set_use_mmx(0);
  EXPECT_EQ(kel_use_mmx(), 0);
  EXPECT_EQ(kel_cpu_has_mmx(), has);
}

TEST(Frame, StrcpyStoresLengthBeforeTheCharacters) {
  alignas(4) char buffer[4 + 16];
  std::memset(buffer, 'x', sizeof buffer);
  char *text = buffer + 4;
  EXPECT_EQ(kel_strcpy(text, "gauge"), text);
  EXPECT_STREQ(text, "gauge");
  std::int32_t length;
  std::memcpy(&length, buffer, 4);
  EXPECT_EQ(length, 5);
  EXPECT_EQ(buffer[4 + 6], 'x');  // nothing written past the terminator

  kel_strcpy(text, "");
  std::memcpy(&length, buffer, 4);
  EXPECT_EQ(length, 0);
  EXPECT_EQ(text[0], '\0');
  EXPECT_EQ(text[1], 'a');  // the old "gauge" remains after the single zero
}

TEST(Frame, VersionIsDotted) {
  const char *v = kel_version();
  ASSERT_NE(v, nullptr);
  EXPECT_NE(std::strchr(v, '.'), nullptr);
}

}  // namespace
