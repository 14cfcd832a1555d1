#include "command.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace tool {

namespace {

std::vector<Command> &registry() {
  static std::vector<Command> all;
  return all;
}

std::string json_escape(const std::string &s) {
  std::string out;
  for (char c : s) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          char buf[8];
          std::snprintf(buf, sizeof buf, "\\u%04x", c);
          out += buf;
        } else {
          out += c;
        }
    }
  }
  return out;
}

std::string format_number(double v) {
  if (std::isnan(v)) return "null";
  char buf[64];
  if (v == std::floor(v) && std::fabs(v) < 1e15)
    std::snprintf(buf, sizeof buf, "%.0f", v);
  else
    std::snprintf(buf, sizeof buf, "%.6g", v);
  return buf;
}

}  // namespace

Register::Register(Command c) {
  registry().push_back(std::move(c));
}

const std::vector<Command> &commands() {
  static const std::vector<Command> sorted = [] {
    std::vector<Command> all = registry();
    std::sort(all.begin(), all.end(),
              [](const Command &a, const Command &b) { return a.name < b.name; });
    return all;
  }();
  return sorted;
}

Args::Args(std::vector<std::string> words) {
  // Options are "--name=value", "--name value", or a bare "--name" (for the
  // switches --json and --help, or when no value follows).
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string &w = words[i];
    if (w.rfind("--", 0) == 0 && w.size() > 2) {
      std::string key = w.substr(2), value = "1";
      if (auto eq = key.find('='); eq != std::string::npos) {
        value = key.substr(eq + 1);
        key = key.substr(0, eq);
      } else if (key != "json" && key != "help" && i + 1 < words.size() &&
                 words[i + 1].rfind("--", 0) != 0) {
        value = words[++i];
      }
      options_[key] = value;
    } else {
      positional_.push_back(w);
    }
  }
}

bool Args::flag(const std::string &name) const {
  return options_.count(name) != 0;
}

std::string Args::option(const std::string &name, const std::string &fallback) const {
  auto it = options_.find(name);
  return it == options_.end() ? fallback : it->second;
}

double Args::number(const std::string &name, double fallback) const {
  auto it = options_.find(name);
  if (it == options_.end()) return fallback;
  char *end = nullptr;
  double v = std::strtod(it->second.c_str(), &end);
  if (end == it->second.c_str() || *end != '\0')
    throw Failure{"kelkit", KEL_ERR_ARGUMENT,
                  "--" + name + " needs a number, got \"" + it->second + "\""};
  return v;
}

void fail_from_last_report(const std::string &fallback_function, int code) {
  std::string fn = im_last_function();
  if (fn.empty()) fn = fallback_function;
  throw Failure{fn, code ? code : im_last_code(), im_last_message()};
}

void Output::text(const std::string &key, const std::string &value) {
  entries_.push_back({key, value, true});
}

void Output::number(const std::string &key, double value) {
  entries_.push_back({key, format_number(value), false});
}

void Output::integer(const std::string &key, long long value) {
  entries_.push_back({key, std::to_string(value), false});
}

void Output::records(const std::string &key,
                     const std::vector<std::vector<std::pair<std::string, std::string>>> &rows,
                     const std::vector<std::string> &numeric_keys) {
  auto numeric = [&](const std::string &k) {
    return std::find(numeric_keys.begin(), numeric_keys.end(), k) != numeric_keys.end();
  };
  if (json_) {
    std::ostringstream js;
    js << "[";
    for (std::size_t r = 0; r < rows.size(); ++r) {
      js << (r ? ", " : "") << "{";
      for (std::size_t i = 0; i < rows[r].size(); ++i) {
        const auto &[k, v] = rows[r][i];
        js << (i ? ", " : "") << "\"" << json_escape(k) << "\": ";
        if (numeric(k))
          js << v;
        else
          js << "\"" << json_escape(v) << "\"";
      }
      js << "}";
    }
    js << "]";
    entries_.push_back({key, js.str(), false});
    return;
  }
  // Text: an aligned table with a header row.
  std::ostringstream t;
  t << key << ":\n";
  if (rows.empty()) {
    t << "  (none)\n";
    tables_.push_back(t.str());
    return;
  }
  std::vector<std::size_t> width(rows[0].size());
  for (std::size_t i = 0; i < rows[0].size(); ++i)
    width[i] = rows[0][i].first.size();
  for (const auto &row : rows)
    for (std::size_t i = 0; i < row.size() && i < width.size(); ++i)
      width[i] = std::max(width[i], row[i].second.size());
  t << " ";
  for (std::size_t i = 0; i < width.size(); ++i) {
    std::string h = rows[0][i].first;
    t << " " << std::string(width[i] - h.size(), ' ') << h;
  }
  t << "\n";
  for (const auto &row : rows) {
    t << " ";
    for (std::size_t i = 0; i < row.size() && i < width.size(); ++i)
      t << " " << std::string(width[i] - row[i].second.size(), ' ') << row[i].second;
    t << "\n";
  }
  tables_.push_back(t.str());
}

void Output::print() const {
  if (json_) {
    std::printf("{");
    for (std::size_t i = 0; i < entries_.size(); ++i) {
      const Entry &e = entries_[i];
      std::printf("%s\"%s\": ", i ? ", " : "", json_escape(e.key).c_str());
      if (e.quoted)
        std::printf("\"%s\"", json_escape(e.value).c_str());
      else
        std::printf("%s", e.value.c_str());
    }
    std::printf("}\n");
    return;
  }
  std::size_t w = 0;
  for (const Entry &e : entries_)
    w = std::max(w, e.key.size());
  for (const Entry &e : entries_)
    std::printf("%-*s  %s\n", static_cast<int>(w), e.key.c_str(), e.value.c_str());
  for (const std::string &t : tables_)
    std::printf("%s", t.c_str());
}

ImagePtr load_image(const std::string &path) {
  im_clear_report();
  int status = 0;
  ImagePtr img(im_file_load(path.c_str(), &status));
  if (!img) fail_from_last_report("im_file_load", status);
  return img;
}

void save_image(const std::string &path, const Image *img) {
  im_clear_report();
  int status = im_file_write(path.c_str(), img, 0);
  if (status) fail_from_last_report("im_file_write", status);
}

ImagePtr new_image(unsigned type, int dx, int dy) {
  im_clear_report();
  ImagePtr img(im_create(type, dx, dy));
  if (!img) fail_from_last_report("im_create", KEL_ERR_NO_MEMORY);
  return img;
}

void check(int status, const char *function) {
  if (status) fail_from_last_report(function, status);
}

const std::string &positional(const Args &args, std::size_t index, const char *usage) {
  if (index >= args.positional().size())
    throw Failure{"kelkit", KEL_ERR_ARGUMENT, std::string("usage: kelkit ") + usage};
  return args.positional()[index];
}

int positional_int(const Args &args, std::size_t index, const char *usage) {
  const std::string &word = positional(args, index, usage);
  char *end = nullptr;
  long v = std::strtol(word.c_str(), &end, 10);
  if (end == word.c_str() || *end != '\0' || v < -2147483647L || v > 2147483647L)
    throw Failure{"kelkit", KEL_ERR_ARGUMENT, "\"" + word + "\" is not a whole number"};
  return static_cast<int>(v);
}

std::string type_name(unsigned type) {
  switch (type) {
    case BYTE:
      return "BYTE";
    case WORD:
      return "WORD";
    case FLOAT:
      return "FLOAT";
    default:
      return "type " + std::to_string(type);
  }
}

}  // namespace tool
