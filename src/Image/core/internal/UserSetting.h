// Reads one 32-bit setting from the user's settings store: the registry under
// HKEY_CURRENT_USER on Windows, an INI file elsewhere. Internal to the library.
#ifndef IMAGE_CORE_INTERNAL_USERSETTING_H_
#define IMAGE_CORE_INTERNAL_USERSETTING_H_

#include <cstdint>
#include <string>

namespace c2d {

// The INI file that stands in for the registry off Windows:
// $XDG_CONFIG_HOME/core2dimage/registry.ini, or ~/.config/core2dimage/registry.ini
// when XDG_CONFIG_HOME is unset or empty. Empty when neither can be formed.
std::string UserSettingsFile();

// Looks up `name` under the key path `keyPath` (on Windows a key below
// HKEY_CURRENT_USER; elsewhere an INI section named by the path exactly, backslashes
// and all). True, with the value in *value, only when the setting exists and holds
// a decimal 32-bit integer.
bool ReadUserSetting(const std::string &keyPath, const char *name, int32_t *value);

}  // namespace c2d

#endif  // IMAGE_CORE_INTERNAL_USERSETTING_H_
