// What guards OUT besides writing it through a temporary file: the temporary file is
// removed when c2dimg is stopped by Ctrl-C, SIGTERM or SIGHUP, and an existing OUT
// that is read-only is not replaced without --force.
#ifndef TOOLS_C2DIMG_OUTPUTGUARD_H_
#define TOOLS_C2DIMG_OUTPUTGUARD_H_

#include <string>

namespace c2dimg {

// Whether a read-only OUT may be replaced (--force).
void SetForce(bool force);
// A FileError naming OUT when it exists, is read-only and --force was not given.
void CheckReplaceable(const std::string &path);

// mkstemp on `pattern` (its X's replaced by the name made), for the temporary file
// that is removed if a stopping signal arrives before ForgetTemporary. One at a time.
int CreateTemporary(char *pattern);
void ForgetTemporary();

}  // namespace c2dimg

#endif  // TOOLS_C2DIMG_OUTPUTGUARD_H_
