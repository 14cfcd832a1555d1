// kelkit: the command-line tool. Runs library operations on image files and
// prints the results as a table, or as JSON with --json.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "command.hpp"

namespace {

void print_help() {
  std::printf(
      "kelkit %s - machine-vision image processing for industrial inspection\n\n"
      "usage: kelkit COMMAND [ARGUMENTS] [--json]\n\n"
      "commands:\n",
      kel_version());
  for (const tool::Command &c : tool::commands()) {
    std::string line = c.name + (c.usage.empty() ? "" : " " + c.usage);
    if (line.size() <= 34)
      std::printf("  %-34s %s\n", line.c_str(), c.summary.c_str());
    else
      std::printf("  %s\n  %-34s %s\n", line.c_str(), "", c.summary.c_str());
  }
  std::printf(
      "\noptions:\n"
      "  --json                             print results as one JSON object\n"
      "  --help                             this text\n\n"
      "Image files: .bmp (8-bit), .pgm (8 and 16 bit), .png (8 and 16 bit grey).\n\n"
      "The tool turns the library's processor switch off at start\n"
      "(kel_set_use_mmx(0)), so every operator always computes its result.\n"
      "On failure it prints the failing function, the status code and the\n"
      "message, and exits with status 1.\n");
}

}  // namespace

int main(int argc, char **argv) {
  // Always compute: the processor-specific branches of some operators return
  // without computing while the switch is on.
  kel_set_use_mmx(0);

  std::vector<std::string> words(argv + 1, argv + argc);
  if (words.empty() || words[0] == "--help" || words[0] == "-h" || words[0] == "help") {
    print_help();
    return words.empty() ? 2 : 0;
  }
  const std::string name = words[0];
  for (const tool::Command &c : tool::commands()) {
    if (c.name != name) continue;
    tool::Args args(std::vector<std::string>(words.begin() + 1, words.end()));
    if (args.flag("help")) {
      std::printf("usage: kelkit %s %s\n  %s\n", c.name.c_str(), c.usage.c_str(),
                  c.summary.c_str());
      return 0;
    }
    tool::Output out(args.flag("json"));
    try {
      int rc = c.run(args, out);
      out.print();
      return rc;
    } catch (const tool::Failure &f) {
      std::fprintf(stderr, "kelkit %s: %s failed with code %d%s%s\n", name.c_str(),
                   f.function.c_str(), f.code, f.message.empty() ? "" : ": ", f.message.c_str());
      return 1;
    } catch (const std::exception &e) {
      std::fprintf(stderr, "kelkit %s: %s\n", name.c_str(), e.what());
      return 1;
    }
  }
  std::fprintf(stderr, "kelkit: unknown command \"%s\" (see kelkit --help)\n", name.c_str());
  return 2;
}
