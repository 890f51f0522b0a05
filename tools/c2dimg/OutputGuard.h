// How OUT is written besides through a temporary file: the temporary file is removed
// when c2dimg is stopped by Ctrl-C, SIGTERM or SIGHUP, an existing OUT that is
// read-only is not replaced without --force, --format names the format instead of
// OUT's extension, and OUT "-" is standard output.
#ifndef TOOLS_C2DIMG_OUTPUTGUARD_H_
#define TOOLS_C2DIMG_OUTPUTGUARD_H_

#include <string>

namespace c2dimg {

// Whether a read-only OUT may be replaced (--force).
void SetForce(bool force);
// --format's value, or empty.
void SetChosenFormat(const std::string &format);
const std::string &ChosenFormat();

// The folder for standard output's temporary file, with a trailing slash.
std::string StandardOutputFolder();
// Copies the finished temporary file to standard output and removes it; false with
// errno set when that fails.
bool SendToStandardOutput(const std::string &temporary);
// A FileError naming OUT when it exists, is read-only and --force was not given.
void CheckReplaceable(const std::string &path);

// mkstemp on `pattern` (its X's replaced by the name made), for the temporary file
// that is removed if a stopping signal arrives before ForgetTemporary. One at a time.
int CreateTemporary(char *pattern);
void ForgetTemporary();

}  // namespace c2dimg

#endif  // TOOLS_C2DIMG_OUTPUTGUARD_H_
