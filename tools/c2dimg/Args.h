// The command line of c2dimg: the commands, their options and help texts, the parser
// that checks a command line against them, and the readers of option values.
#ifndef TOOLS_C2DIMG_ARGS_H_
#define TOOLS_C2DIMG_ARGS_H_

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace c2dimg {

struct CommandSpec {
  const char *name;
  // Positional arguments: their names, all required.
  std::vector<const char *> operands;
  // Options the command takes besides --help, --quiet and --page; a trailing '=' marks
  // one that takes a value ("--width="), and "=*" one that may be given again.
  std::vector<const char *> options;
  const char *synopsis;  // the rest of the usage line
  const char *help;      // what the command does and what each option means
};

// The usage and help of `draw`, kept beside the command in DrawCommand.cpp.
extern const char kDrawSynopsis[];
extern const char kDrawHelp[];

// A checked command line. Options are stored under their long name without dashes.
struct CommandLine {
  const CommandSpec *command = nullptr;  // null when no command was given
  std::vector<std::string> operands;
  std::map<std::string, std::string> options;                 // the last value of each
  std::vector<std::pair<std::string, std::string>> sequence;  // every option, in order
  bool help = false;
  bool quiet = false;
  uint32_t page = 1;  // the page of a multi-page TIFF, counted from 1

  bool has(const char *name) const { return options.count(name) != 0; }
  // The option's value; a UsageError when a required option is missing.
  const std::string &required(const char *name) const;
};

// The command of that name, or null.
const CommandSpec *FindCommand(const std::string &name);

// Parses argv; a UsageError for anything the command does not take. A command line
// with --help is not checked further.
CommandLine ParseCommandLine(int argc, char **argv);

// The usage and help of a command, or of the tool when `command` is null.
std::string Usage(const CommandSpec *command);
std::string Help(const CommandSpec *command);

// Option values. Each throws a UsageError naming `what` when the text is not a whole
// number (or pair, or colour) in range.
uint32_t ParseCount(const std::string &text, const char *what);  // 1 or more
double ParseNumber(const std::string &text, const char *what);   // any finite number
std::vector<long> ParseList(const std::string &text, char separator, size_t count,
                            const char *what);
uint32_t ParseColour(const std::string &text, const char *what);  // RRGGBB as 0xRRGGBB

}  // namespace c2dimg

#endif  // TOOLS_C2DIMG_ARGS_H_
