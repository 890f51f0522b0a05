// The commands of c2dimg, their help, and the command-line parser.
#include "Args.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "Failure.h"

namespace c2dimg {
namespace {

const char kCommonHelp[] =
    "Common options:\n"
    "  --page N          read page N (from 1) of a multi-page TIFF or a PDF\n"
    "  --max-pixels N    refuse inputs of more than N pixels (default 600000000)\n"
    "  --force           replace OUT even when it is read-only\n"
    "  --format F        write OUT as F (png, tif, pbm, pgm, ppm) whatever its\n"
    "                    extension; needed with -o - (standard output)\n"
    "  -q, --quiet       print nothing but errors; no progress bar\n"
    "  --verbose         add the library's own names to what is said\n"
    "  -h, --help        show this help\n";

const std::vector<CommandSpec> &Commands() {
  static const std::vector<CommandSpec> kCommands = {
      {"info",
       {"FILE"},
       {},
       "info FILE",
       "Prints the size, image type, tile grid, coded or pixel bytes and background of\n"
       "FILE as the library holds it.\n"},
      {"scale",
       {"FILE"},
       {"output=", "width=", "height=", "factor=", "fit=", "grey", "resample", "keep-lines",
        "rect="},
       "scale FILE -o OUT (--width W | --height H | --factor F | --fit WxH)\n"
       "             [--grey] [--keep-lines] [--rect L,T,R,B]",
       "Scales FILE (or a rectangle of it) and writes OUT. Bilevel pages stay bilevel,\n"
       "with thin lines kept, unless --grey asks for grey levels.\n"
       "  -o, --output OUT  the file to write; its extension picks the format\n"
       "  --width W         W pixels wide, the height in proportion\n"
       "  --height H        H pixels high, the width in proportion\n"
       "  --factor F        both sides times F, rounded up\n"
       "  --fit WxH         the largest size in proportion that fits in W x H\n"
       "  --grey            reduce a bilevel page to grey levels\n"
       "  --keep-lines      scale colour and grey pictures keeping every thin line,\n"
       "                    as bilevel pages are; by default they are averaged\n"
       "                    (interpolated when enlarged), as photos want\n"
       "  --resample        the default for colour and grey pictures, kept for scripts\n"
       "  --rect L,T,R,B    scale only these columns L..R and rows T..B (inclusive)\n"},
      {"rotate",
       {"FILE", "DEGREES"},
       {"output=", "keep-size"},
       "rotate FILE DEGREES -o OUT [--keep-size]",
       "Rotates FILE counter-clockwise by DEGREES (negative turns clockwise) and writes\n"
       "OUT. Right angles are exact; other angles are sheared, and the canvas grows to\n"
       "hold the whole turned page, padded with its background.\n"
       "  -o, --output OUT  the file to write; its extension picks the format\n"
       "  --keep-size       keep the source's frame: the corners are cut off\n"},
      {"mirror",
       {"FILE", "AXIS"},
       {"output="},
       "mirror FILE x|y -o OUT",
       "Mirrors FILE about an axis and writes OUT: x, the horizontal axis, turns it\n"
       "upside down; y, the vertical axis, swaps left and right.\n"
       "  -o, --output OUT  the file to write; its extension picks the format\n"},
      {"convert",
       {"FILE"},
       {"output=", "to=", "separate"},
       "convert FILE -o OUT [--to 1|8|32] [--separate]",
       "Writes FILE as OUT, in the format of OUT's extension, after converting it to\n"
       "another image type if asked.\n"
       "  -o, --output OUT  the file to write\n"
       "  --to 1            bilevel: colour is dithered (error diffusion)\n"
       "  --to 8            8-bit palette (from bilevel images)\n"
       "  --to 32           32-bit colour\n"
       "  --separate        with --to 1: set every pixel that is not the background\n"},
      {"background",
       {"FILE"},
       {},
       "background FILE",
       "Prints the background (paper) colour of FILE as #RRGGBB, or \"none\" when no\n"
       "colour covers enough of the image.\n"},
      {"composite",
       {"DST", "SRC"},
       {"output=", "at=", "alpha=", "key="},
       "composite DST SRC -o OUT --at X,Y [--alpha A] [--key RRGGBB]",
       "Places SRC over DST with its top left corner at X,Y and writes OUT, in colour.\n"
       "  -o, --output OUT  the file to write; its extension picks the format\n"
       "  --at X,Y          where SRC's top left pixel lands on DST (may be negative)\n"
       "  --alpha A         a constant opacity from 0 to 1 instead of SRC's own alpha\n"
       "  --key RRGGBB      SRC pixels of this colour are left out\n"},
      {"draw",
       {"FILE"},
       {"output=", "rect=*", "circle=*", "line=*", "stroke=*", "fill=*"},
       kDrawSynopsis,
       kDrawHelp},
      {"rtl",
       {"FILE"},
       {"output=", "dpi="},
       "rtl FILE -o OUT.rtl [--dpi N]",
       "Writes FILE as a complete HP-RTL raster job for a plotter: bilevel pages as\n"
       "bits with ink set, colour and grey as 24-bit RGB, in delta rows.\n"
       "  -o, --output OUT  the job to write (any -o OUT.rtl of another command does too)\n"
       "  --dpi N           the resolution the job asks for; else FILE's own, or 300\n"},
  };
  return kCommands;
}

// Whether `name` is an option of `spec`, whether it takes a value, and whether it
// may be repeated.
bool LookUpOption(const CommandSpec &spec, const std::string &name, bool &takesValue,
                  bool &repeats) {
  for (const char *option : spec.options) {
    std::string text = option;
    repeats = text.size() > 1 && text.back() == '*';
    if (repeats) {
      text.pop_back();
    }
    const bool valued = !text.empty() && text.back() == '=';
    if ((valued ? text.substr(0, text.size() - 1) : text) == name) {
      takesValue = valued;
      return true;
    }
  }
  return false;
}

// "-12" and "-.5" are operands (a negative angle), not options.
bool IsOption(const std::string &arg) {
  return arg.size() > 1 && arg[0] == '-' && !std::isdigit(static_cast<unsigned char>(arg[1])) &&
         arg[1] != '.';
}

std::string LongName(const std::string &arg) {
  if (arg == "-o") {
    return "output";
  }
  if (arg == "-q") {
    return "quiet";
  }
  if (arg == "-h") {
    return "help";
  }
  return arg.rfind("--", 0) == 0 ? arg.substr(2) : "?" + arg;
}

}  // namespace

const CommandSpec *FindCommand(const std::string &name) {
  for (const CommandSpec &spec : Commands()) {
    if (name == spec.name) {
      return &spec;
    }
  }
  return nullptr;
}

const std::string &CommandLine::required(const char *name) const {
  const auto it = options.find(name);
  if (it == options.end()) {
    throw UsageError(std::string("missing --") + name);
  }
  return it->second;
}

CommandLine ParseCommandLine(int argc, char **argv) {
  CommandLine line;
  std::vector<std::string> args(argv + 1, argv + argc);
  size_t i = 0;
  // Options before the command: only the common ones.
  for (; i < args.size() && IsOption(args[i]); ++i) {
    const std::string name = LongName(args[i]);
    if (name == "help") {
      line.help = true;
    } else if (name == "quiet") {
      line.quiet = true;
    } else {
      throw UsageError("unknown option " + args[i]);
    }
  }
  if (i == args.size()) {
    if (line.help) {
      return line;
    }
    throw UsageError("no command given");
  }
  line.command = FindCommand(args[i]);
  if (line.command == nullptr) {
    throw UsageError("unknown command '" + args[i] + "'");
  }
  for (++i; i < args.size(); ++i) {
    const std::string &arg = args[i];
    if (!IsOption(arg)) {
      line.operands.push_back(arg);
      continue;
    }
    std::string name = LongName(arg);
    std::string value;
    bool inlineValue = false;
    if (const size_t eq = name.find('='); eq != std::string::npos) {
      value = name.substr(eq + 1);
      name.resize(eq);
      inlineValue = true;
    }
    if (name == "help" || name == "quiet") {
      (name == "help" ? line.help : line.quiet) = true;
      continue;
    }
    // Options every command takes.
    bool takesValue = name == "page" || name == "max-pixels" || name == "format";
    bool repeats = false;
    if (!takesValue && name != "force" && name != "verbose" &&
        !LookUpOption(*line.command, name, takesValue, repeats)) {
      throw UsageError("'" + std::string(line.command->name) + "' takes no option " + arg);
    }
    if (takesValue && !inlineValue) {
      if (i + 1 == args.size()) {
        throw UsageError("--" + name + " needs a value");
      }
      value = args[++i];
    } else if (!takesValue && inlineValue) {
      throw UsageError("--" + name + " takes no value");
    }
    if (line.options.count(name) != 0 && !repeats) {
      throw UsageError("--" + name + " given twice");
    }
    line.options[name] = value;
    line.sequence.emplace_back(name, value);
  }
  if (line.help) {
    return line;
  }
  if (line.operands.size() != line.command->operands.size()) {
    throw UsageError(std::string("'") + line.command->name + "' takes " +
                     std::to_string(line.command->operands.size()) + " operand" +
                     (line.command->operands.size() == 1 ? "" : "s") + ", not " +
                     std::to_string(line.operands.size()));
  }
  if (line.has("page")) {
    line.page = ParseCount(line.options["page"], "--page");
  }
  return line;
}

std::string Usage(const CommandSpec *command) {
  if (command != nullptr) {
    return std::string("usage: c2dimg ") + command->synopsis + " [--page N] [--quiet]\n";
  }
  std::string text = "usage: c2dimg [--help | --version] COMMAND ARGS...\n";
  for (const CommandSpec &spec : Commands()) {
    text += std::string("       c2dimg ") + spec.synopsis + "\n";
  }
  return text;
}

std::string Help(const CommandSpec *command) {
  if (command != nullptr) {
    return Usage(command) + "\n" + command->help + "\n" + kCommonHelp;
  }
  return Usage(nullptr) +
         "\nLooks at, scales, rotates, mirrors, converts, composites and marks up raster\n"
         "pages with the Core2DImage library. Reads TIFF (Group 4 pages stay compressed), PNG,\n"
         "PBM, PGM, PPM, HP-RTL, PDF (pages rendered on demand at 200 dpi) and EMF,\n"
         "recognised by their contents; writes the format that the extension of OUT names\n"
         "(.png, .tif/.tiff, .pbm, .pgm, .ppm, .rtl). Pages are shown as stored: a negative\n"
         "stays a negative, whatever its storage.\n\n"
         "'c2dimg COMMAND --help' describes a command.\n\n" +
         kCommonHelp +
         "\nExit status: 0 on success, 1 for bad arguments, 2 when a file cannot be read\n"
         "or written or the operation fails, 3 when OUT was written but the source is\n"
         "damaged (each damaged tile or strip is named on stderr).\n";
}

uint32_t ParseCount(const std::string &text, const char *what) {
  const std::vector<long> value = ParseList(text, ',', 1, what);
  if (value[0] < 1 || value[0] > 0x7FFFFFFFL) {
    throw UsageError(std::string(what) + " must be at least 1, not " + text);
  }
  return static_cast<uint32_t>(value[0]);
}

double ParseNumber(const std::string &text, const char *what) {
  errno = 0;
  char *end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != '\0' || errno != 0 || !std::isfinite(value) ||
      std::isspace(static_cast<unsigned char>(text[0]))) {
    throw UsageError(std::string(what) + " is not a number: '" + text + "'");
  }
  return value;
}

std::vector<long> ParseList(const std::string &text, char separator, size_t count,
                            const char *what) {
  std::vector<long> values;
  size_t start = 0;
  for (;;) {
    const size_t end = std::min(text.find(separator, start), text.size());
    const std::string item = text.substr(start, end - start);
    errno = 0;
    char *stop = nullptr;
    const long value = std::strtol(item.c_str(), &stop, 10);
    if (item.empty() || *stop != '\0' || errno != 0 || value < -0x7FFFFFFFL ||
        value > 0x7FFFFFFFL || std::isspace(static_cast<unsigned char>(item[0]))) {
      break;
    }
    values.push_back(value);
    if (end == text.size()) {
      if (values.size() == count) {
        return values;
      }
      break;
    }
    start = end + 1;
  }
  std::string form = "N";
  for (size_t k = 1; k < count; ++k) {
    form += std::string(1, separator) + "N";
  }
  throw UsageError(std::string(what) + " wants whole numbers as " + form + ", not '" + text + "'");
}

uint32_t ParseColour(const std::string &text, const char *what) {
  const std::string digits = text[0] == '#' ? text.substr(1) : text;
  if (digits.size() != 6 ||
      digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
    throw UsageError(std::string(what) + " wants a colour as RRGGBB, not '" + text + "'");
  }
  return static_cast<uint32_t>(std::strtoul(digits.c_str(), nullptr, 16));
}

}  // namespace c2dimg
