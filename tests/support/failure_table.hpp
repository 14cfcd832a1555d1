// Table-driven failure checks: each row is one call made invalid in one
// way, with the status and the reporting name it must give.
#pragma once

#include <gtest/gtest.h>

#include <functional>

#include "pixsvc.h"

namespace kt {

struct FailureCase {
  const char *function;       // the exported name the report must carry
  int code;                   // the status the call must return and report
  std::function<int()> call;  // the failing call
};

inline void expect_failures(const std::vector<FailureCase> &cases) {
  for (std::size_t i = 0; i < cases.size(); ++i) {
    im_clear_report();
    EXPECT_EQ(cases[i].call(), cases[i].code) << "row " << i << " " << cases[i].function;
    EXPECT_STREQ(im_last_function(), cases[i].function) << "row " << i;
    EXPECT_EQ(im_last_code(), cases[i].code) << "row " << i << " " << cases[i].function;
  }
}

}  // namespace kt
