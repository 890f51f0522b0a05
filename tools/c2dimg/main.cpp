// c2dimg: a command-line tool over the Core2DImage library. It reads a scanned or
// rendered page, shows its facts, and scales, rotates, mirrors, converts and
// composites it into a file any viewer opens. It is built on the library's public
// umbrella header alone.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <new>

#include "Args.h"
#include "Commands.h"
#include "Failure.h"
#include "G4Code.h"
#include "Progress.h"

int main(int argc, char **argv) {
  using namespace c2dimg;
  // The usage printed after an error is that of the command named, if any.
  const CommandSpec *command = nullptr;
  for (int i = 1; i < argc && command == nullptr; ++i) {
    if (argv[i][0] != '-') {
      command = FindCommand(argv[i]);
    }
  }
  if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
    std::printf("c2dimg %s\n", C2DIMG_VERSION);
    return 0;
  }
  try {
    const CommandLine line = ParseCommandLine(argc, argv);
    if (line.help) {
      std::fputs(Help(line.command).c_str(), stdout);
      return 0;
    }
    Progress::Enable(!line.quiet && isatty(STDERR_FILENO) != 0);
    RunCommand(line);
    // Written, but from a damaged source.
    for (const std::string &note : DamageNotes()) {
      std::fprintf(stderr, "c2dimg: %s\n", note.c_str());
    }
    return DamageNotes().empty() ? 0 : 3;
  } catch (const UsageError &e) {
    std::fprintf(stderr, "c2dimg: %s\n%s", e.what(), Usage(command).c_str());
    return 1;
  } catch (const FileError &e) {
    std::fprintf(stderr, "c2dimg: %s\n", e.what());
    return 2;
  } catch (const std::bad_alloc &) {
    std::fprintf(stderr, "c2dimg: out of memory\n");
    return 2;
  } catch (const std::exception &e) {
    std::fprintf(stderr, "c2dimg: %s\n", e.what());
    return 2;
  }
}
