// The commands of c2dimg, one function each, run on a checked command line.
#ifndef TOOLS_C2DIMG_COMMANDS_H_
#define TOOLS_C2DIMG_COMMANDS_H_

#include <string>

#include "Args.h"
#include "Picture.h"

namespace c2dimg {

// Runs line.command. Throws UsageError or FileError (see Failure.h).
void RunCommand(const CommandLine &line);
// The rtl command (RtlIO.cpp).
void RtlJob(const CommandLine &line);

// Writes the picture to OUT and, unless quiet, says what was written.
void Write(const Picture &picture, const std::string &path, const CommandLine &line);
// The draw command (DrawCommand.cpp).
void Draw(const CommandLine &line);

}  // namespace c2dimg

#endif  // TOOLS_C2DIMG_COMMANDS_H_
