#pragma once

#include "platform/NotificationCenter.h"

#include <string>
#include <string_view>

namespace talvek {

/// The text between double quotes, as JSON has it; bytes that are not UTF-8 become U+FFFD.
std::string jsonString(std::string_view text);

/// The shortest number that reads back as the same double. Not a number and the infinities, for
/// which JSON has no numbers, are the strings "nan", "inf" and "-inf".
std::string jsonNumber(double number);

/// A notification, of the engine or of the recovery, as a JSON object on one line, without a line
/// end. Keys come in the order in which they are documented; an unknown key comes last.
std::string jsonOf(const UserInfo& userInfo);

} // namespace talvek
