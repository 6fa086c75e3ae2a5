#pragma once
// HaldenLogging::LogLineObscurer: the obscured form of log message texts
// (the option obfuscate-log-messages), so that a log file handed out of the
// building does not show user data to a casual reader. It hides, it does not
// protect: anyone with this library can read the text back.
//
// Form: "~" followed by the standard base64 (with "=" padding) of the
// message bytes, each XORed with the next byte of a key stream. The key
// stream is xorshift32 started from 0x484C444E for every message, taking the
// low byte of each state after stepping (x ^= x << 13; x ^= x >> 17;
// x ^= x << 5). The line prefix (time, ids, location) stays readable.

#include "hdUtilitiesExport.h"

#include <string>
#include <string_view>

namespace HaldenLogging {

class HDU_API LogLineObscurer {
 public:
  // Appends the obscured form of `text` to `out`.
  static void obscure(std::string_view text, std::string& out);
  static std::string obscure(std::string_view text);
  // The text back from its obscured form; false (and `out` unchanged) when
  // `obscured` is not in that form.
  static bool reveal(std::string_view obscured, std::string& out);
};

}  // namespace HaldenLogging
