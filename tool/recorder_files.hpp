// recorder_files.hpp: the files of a recorder, told by their names.
#ifndef KOR_TOOL_RECORDER_FILES_HPP
#define KOR_TOOL_RECORDER_FILES_HPP

#include <optional>
#include <string>

namespace tool {

// Throws a failure of wrong usage where `file` is a file of the recorder, or
// has the name of one.  `name` is its base name or that of one of its files.
void refuse_recorder_file(const std::string &name, const std::string &file);

enum class file_use { reading, writing };

// The first file of a recorder, or its folder, that cannot be opened, and the
// reason; nothing when all can be.
std::optional<std::string> find_refusal(const std::string &name, file_use use);

// What a code that opening a recorder gave means.  The library has one for any
// file that cannot be opened: this names the file, where it can be told.
std::string explain_failure(const std::string &name, int code, file_use use);

}  // namespace tool

#endif
