// Whole-file reading for the velmora-align tool: a named file or standard input, in one go.
#ifndef VELMORA_TOOLS_ALIGN_FILEIO_H
#define VELMORA_TOOLS_ALIGN_FILEIO_H

#include <string>

namespace valign {

// The name standard input goes by on the command line, and in messages.
inline const char* const kStdinArgument = "-";
inline const char* const kStdinName = "<stdin>";

// The name under which a command-line file argument appears in messages.
std::string displayName(const std::string& path);

// Reads the whole of `path` ("-": standard input) into `content`. Returns an empty string on
// success, otherwise "cannot open <name>: <reason>" or "cannot read <name>: <reason>".
std::string readWholeFile(const std::string& path, std::string& content);

}  // namespace valign

#endif
