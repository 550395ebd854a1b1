// Message text helpers of the velmora-align tool.
#include "align/align_text.h"

namespace valign {

std::string printable(std::string_view text, bool keepNonAscii) {
  static const char kHex[] = "0123456789abcdef";
  std::string out;
  out.reserve(text.size());
  for (char ch : text) {
    const unsigned char c = static_cast<unsigned char>(ch);
    const bool plain = (c >= 0x20 && c < 0x7f && c != '\\') || (c >= 0x80 && keepNonAscii);
    if (plain) {
      out += ch;
    } else {
      out += "\\x";
      out += kHex[c >> 4];
      out += kHex[c & 15];
    }
  }
  return out;
}

std::string quoteToken(std::string_view token) {
  constexpr std::size_t kShown = 40;
  if (token.size() <= kShown) return "'" + printable(token, false) + "'";
  return "'" + printable(token.substr(0, kShown), false) + "...'";
}

}  // namespace valign
