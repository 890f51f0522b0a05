// The user's settings store. On Windows the registry is read exactly as the viewer
// writes it; elsewhere a small INI file plays the registry's part, one section per
// key path.
#include "Image/core/internal/UserSetting.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace c2d {

namespace {

std::string Trim(const std::string &text) {
  const char *spaces = " \t\r\n";
  const size_t first = text.find_first_not_of(spaces);
  if (first == std::string::npos) {
    return std::string();
  }
  const size_t last = text.find_last_not_of(spaces);
  return text.substr(first, last - first + 1);
}

// A whole decimal integer that fits 32 bits, optionally signed; nothing else.
bool ParseInt32(const std::string &text, int32_t *value) {
  if (text.empty()) {
    return false;
  }
  errno = 0;
  char *end = nullptr;
  const long long parsed = std::strtoll(text.c_str(), &end, 10);
  if (errno != 0 || end == text.c_str() || *end != '\0' || parsed < INT32_MIN ||
      parsed > INT32_MAX) {
    return false;
  }
  *value = static_cast<int32_t>(parsed);
  return true;
}

}  // namespace

std::string UserSettingsFile() {
  const char *xdg = std::getenv("XDG_CONFIG_HOME");
  if (xdg != nullptr && xdg[0] != '\0') {
    return std::string(xdg) + "/core2dimage/registry.ini";
  }
  const char *home = std::getenv("HOME");
  if (home != nullptr && home[0] != '\0') {
    return std::string(home) + "/.config/core2dimage/registry.ini";
  }
  return std::string();
}

#if defined(_WIN32)

bool ReadUserSetting(const std::string &keyPath, const char *name, int32_t *value) {
  HKEY key = nullptr;
  if (RegOpenKeyExA(HKEY_CURRENT_USER, keyPath.c_str(), 0, 0x20019, &key) != ERROR_SUCCESS) {
    return false;
  }
  DWORD raw = 0;
  DWORD size = sizeof(raw);
  const bool found = RegQueryValueExA(key, name, nullptr, nullptr, reinterpret_cast<BYTE *>(&raw),
                                      &size) == ERROR_SUCCESS;
  RegCloseKey(key);
  if (found) {
    *value = static_cast<int32_t>(raw);
  }
  return found;
}

#else

bool ReadUserSetting(const std::string &keyPath, const char *name, int32_t *value) {
  const std::string path = UserSettingsFile();
  if (path.empty()) {
    return false;
  }
  std::ifstream file(path);
  if (!file) {
    return false;
  }
  bool inSection = false;
  std::string line;
  while (std::getline(file, line)) {
    const std::string text = Trim(line);
    if (text.empty() || text[0] == ';' || text[0] == '#') {
      continue;
    }
    if (text.front() == '[' && text.back() == ']') {
      inSection =
          text.compare(1, text.size() - 2, keyPath) == 0 && text.size() - 2 == keyPath.size();
      continue;
    }
    const size_t equals = text.find('=');
    if (!inSection || equals == std::string::npos || Trim(text.substr(0, equals)) != name) {
      continue;
    }
    // The first entry for the name decides, as a registry holds one value per name.
    return ParseInt32(Trim(text.substr(equals + 1)), value);
  }
  return false;
}

#endif

}  // namespace c2d
