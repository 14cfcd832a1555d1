// kelkit info: version, processor facts and the processor switch.
#include "command.hpp"

namespace {

int run_info(const tool::Args &, tool::Output &out) {
  out.text("version", kel_version());
  out.text("processor has MMX", kel_cpu_has_mmx() ? "yes" : "no");
  out.text("processor switch", kel_use_mmx() ? "on" : "off (every operator computes)");
  out.text("pixel types", "BYTE (8-bit), WORD (16-bit), FLOAT (32-bit)");
  out.text("image files", ".bmp .pgm .png");
  return 0;
}

const tool::Register reg({"info", "", "library version, processor facts and switch state",
                          run_info});

}  // namespace
