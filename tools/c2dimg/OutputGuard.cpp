// The guards of OUT. The signal handler may only call async-signal-safe functions, so
// the temporary file's name waits in a fixed buffer.
#include "OutputGuard.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "Failure.h"

namespace c2dimg {
namespace {

bool sForce = false;
std::string sFormat;

char sTemporary[4096];
std::atomic<bool> sWatching{false};
constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

// Removes the half-written file, then dies by the same signal, so that the shell and
// the caller see what stopped c2dimg.
void OnStop(int signal) {
  if (sWatching.load()) {
    unlink(sTemporary);
  }
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  sigemptyset(&action.sa_mask);
  sigaction(signal, &action, nullptr);
  raise(signal);
}

void InstallOnce() {
  static const bool installed = [] {
    struct sigaction action {};
    action.sa_handler = OnStop;
    sigemptyset(&action.sa_mask);
    for (int signal : kSignals) {
      struct sigaction before {};
      // A signal ignored by whoever started c2dimg (nohup) stays ignored.
      if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
        sigaction(signal, &action, nullptr);
      }
    }
    return true;
  }();
  (void)installed;
}

}  // namespace

void SetForce(bool force) { sForce = force; }

void SetChosenFormat(const std::string &format) { sFormat = format; }
const std::string &ChosenFormat() { return sFormat; }

std::string StandardOutputFolder() {
  const char *dir = std::getenv("TMPDIR");
  return std::string(dir != nullptr && *dir != '\0' ? dir : "/tmp") + "/";
}

bool SendToStandardOutput(const std::string &temporary) {
  const int fd = open(temporary.c_str(), O_RDONLY);
  bool ok = fd >= 0;
  char buffer[1 << 16];
  ssize_t got = 0;
  while (ok && (got = read(fd, buffer, sizeof buffer)) > 0) {
    for (ssize_t put = 0, n = 0; ok && put < got; put += n) {
      n = write(STDOUT_FILENO, buffer + put, static_cast<size_t>(got - put));
      ok = n > 0 || (n < 0 && errno == EINTR && (n = 0, true));
    }
  }
  const int error = errno;
  ok = ok && got == 0;
  if (fd >= 0) {
    close(fd);
  }
  unlink(temporary.c_str());
  errno = error;
  return ok;
}

void CheckReplaceable(const std::string &path) {
  struct stat info {};
  if (sForce || path == "-" || stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
    return;
  }
  // No write bit at all counts too: root may write anything, but a file made
  // read-only on purpose is still not to be replaced silently.
  if (access(path.c_str(), W_OK) != 0 || (info.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0) {
    throw FileError(path, "is read-only; --force replaces it");
  }
}

int CreateTemporary(char *pattern) {
  InstallOnce();
  const size_t size = std::strlen(pattern) + 1;
  if (size > sizeof sTemporary) {
    return mkstemp(pattern);
  }
  // The name is made in the buffer the handler reads, so that no signal finds the
  // file made but not yet named there.
  std::memcpy(sTemporary, pattern, size);
  sWatching.store(true);
  const int fd = mkstemp(sTemporary);
  sWatching.store(fd >= 0);
  std::memcpy(pattern, sTemporary, size);
  return fd;
}

void ForgetTemporary() { sWatching.store(false); }

}  // namespace c2dimg
