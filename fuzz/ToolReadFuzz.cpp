// libFuzzer harness for c2dimg's file readers (TIFF in every layout the tool takes,
// PNG, PBM, PGM and PPM), through the tool's own command code. The input is the whole
// file: it is written to a scratch file, then `c2dimg info` and `c2dimg scale --width
// 64` (bilevel, and grey for a page that is bilevel) run on it as a user would run
// them. Errors the tool reports are fine; crashes, leaks and hangs are findings.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "../tools/c2dimg/Args.h"
#include "../tools/c2dimg/Commands.h"

namespace {

std::string ScratchDir() {
  static const std::string dir = [] {
    std::string templ = "/tmp/c2dimg-fuzz-XXXXXX";
    if (mkdtemp(&templ[0]) == nullptr) {
      std::abort();
    }
    return templ;
  }();
  return dir;
}

void Run(std::vector<std::string> args) {
  std::vector<char *> argv;
  static char name[] = "c2dimg";
  argv.push_back(name);
  for (std::string &arg : args) {
    argv.push_back(&arg[0]);
  }
  argv.push_back(nullptr);
  try {
    const c2dimg::CommandLine line =
        c2dimg::ParseCommandLine(static_cast<int>(argv.size() - 1), argv.data());
    c2dimg::RunCommand(line);
  } catch (const std::exception &) {
    // A refused file is the expected answer to most inputs.
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  // The info command prints its facts; keep the fuzzer's output readable.
  static const bool quiet = std::freopen("/dev/null", "w", stdout) != nullptr;
  (void)quiet;
  const std::string in = ScratchDir() + "/in";
  const std::string out = ScratchDir() + "/out.pbm";
  FILE *f = std::fopen(in.c_str(), "wb");
  if (f == nullptr) {
    std::abort();
  }
  std::fwrite(data, 1, size, f);
  std::fclose(f);
  Run({"info", in});
  Run({"scale", in, "-o", out, "--width", "64", "--quiet"});
  Run({"scale", in, "-o", ScratchDir() + "/out.pgm", "--width", "64", "--grey", "--quiet"});
  return 0;
}
