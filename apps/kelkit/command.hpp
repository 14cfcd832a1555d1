// The command table of the kelkit tool and the pieces commands share:
// argument access, output as a readable table or as JSON, and loading
// images with a clear error.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "kelkit.h"

namespace tool {

// Arguments of one command: positional words and --options.
class Args {
 public:
  Args(std::vector<std::string> words);
  const std::vector<std::string> &positional() const { return positional_; }
  bool flag(const std::string &name) const;
  std::string option(const std::string &name, const std::string &fallback = "") const;
  double number(const std::string &name, double fallback) const;

 private:
  std::vector<std::string> positional_;
  std::map<std::string, std::string> options_;
};

// A failure to report: the failing function, its code and message.
struct Failure {
  std::string function;
  int code;
  std::string message;
};

// Throws a Failure built from the last report of the image services.
[[noreturn]] void fail_from_last_report(const std::string &fallback_function, int code);

// Output of a command: key/value rows, printed as an aligned table or as one
// JSON object.
class Output {
 public:
  explicit Output(bool json) : json_(json) {}
  void text(const std::string &key, const std::string &value);
  void number(const std::string &key, double value);
  void integer(const std::string &key, long long value);
  // A nested list of records (each a list of key/value pairs) under `key`.
  void records(const std::string &key,
               const std::vector<std::vector<std::pair<std::string, std::string>>> &rows,
               const std::vector<std::string> &numeric_keys);
  void print() const;

 private:
  struct Entry {
    std::string key, value;
    bool quoted;
  };
  bool json_;
  std::vector<Entry> entries_;
  std::vector<std::string> tables_;  // pre-rendered tables (text mode)
};

struct ImageDeleter {
  void operator()(Image *img) const { im_delete(img); }
};
using ImagePtr = std::unique_ptr<Image, ImageDeleter>;

// Loads an image file or throws a Failure.
ImagePtr load_image(const std::string &path);

// Writes an image file or throws a Failure.
void save_image(const std::string &path, const Image *img);

// A new image (zeroed) or throws a Failure.
ImagePtr new_image(unsigned type, int dx, int dy);

// Throws a Failure built from the last report when `status` is not 0.
void check(int status, const char *function);

// The positional argument `index` or throws a usage Failure.
const std::string &positional(const Args &args, std::size_t index, const char *usage);
// A whole number from a positional argument, or throws a usage Failure.
int positional_int(const Args &args, std::size_t index, const char *usage);

std::string type_name(unsigned type);

struct Command {
  std::string name;
  std::string usage;
  std::string summary;
  std::function<int(const Args &, Output &)> run;
};

// Every command of the tool, sorted by name. Each cmd_*.cpp adds its
// commands with a static Register object.
const std::vector<Command> &commands();

struct Register {
  explicit Register(Command c);
};

}  // namespace tool
