// Message text helpers of the velmora-align tool: every message is one line, whatever bytes the
// input or the command line holds.
#ifndef VELMORA_TOOLS_ALIGN_TEXT_H
#define VELMORA_TOOLS_ALIGN_TEXT_H

#include <string>
#include <string_view>

namespace valign {

// `text` with control characters (and the backslash) written as \xHH; bytes above 0x7e are kept
// when keepNonAscii is true (file names in UTF-8), escaped otherwise.
std::string printable(std::string_view text, bool keepNonAscii);

// A token shown in a message: printable() of at most its first 40 bytes ("..." marks the cut),
// between single quotes.
std::string quoteToken(std::string_view token);

}  // namespace valign

#endif
