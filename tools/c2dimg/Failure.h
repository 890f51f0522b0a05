// The two ways a c2dimg command fails: arguments that make no sense (exit status 1,
// with the usage) and a file or an operation that cannot be done (exit status 2, one
// line naming the file and the reason).
#ifndef TOOLS_C2DIMG_FAILURE_H_
#define TOOLS_C2DIMG_FAILURE_H_

#include <stdexcept>
#include <string>

namespace c2dimg {

class UsageError : public std::runtime_error {
 public:
  explicit UsageError(const std::string &message) : std::runtime_error(message) {}
};

class FileError : public std::runtime_error {
 public:
  FileError(const std::string &path, const std::string &reason)
      : std::runtime_error(path + ": " + reason) {}
};

}  // namespace c2dimg

#endif  // TOOLS_C2DIMG_FAILURE_H_
