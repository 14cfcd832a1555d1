// The keyed text files of the calibration transforms: one key and its
// numbers per line. Writing keeps every double exactly ("%.17g"); reading
// takes a bounded file and accepts only the expected keys in order, each
// with the expected count of finite numbers.
#pragma once

#include <string>
#include <vector>

namespace kel::calib {

// Reads at most `limit` bytes of the file; false when it cannot be opened,
// or is larger than the limit.
bool read_bounded(const char *path, std::size_t limit, std::string &text, bool &opened);

// Splits the text into lines of words; parse_keyed checks the first line is
// `header` and then that line k + 1 is keys[k] followed by counts[k]
// numbers, which it appends to `values`. No other line may follow.
bool parse_keyed(const std::string &text, const std::string &header,
                 const std::vector<std::string> &keys, const std::vector<int> &counts,
                 std::vector<double> &values);

// Writes the header line and one line per key; false when writing fails.
bool write_keyed(const char *path, const std::string &header, const std::vector<std::string> &keys,
                 const std::vector<std::vector<double>> &values);

}  // namespace kel::calib
