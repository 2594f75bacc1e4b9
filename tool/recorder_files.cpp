// recorder_files.cpp: the files of a recorder, told by their names.
#include "recorder_files.hpp"

#include <fcntl.h>
#include <fmt/core.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <vector>

#include "error.h"
#include "exit_status.hpp"
#include "messages.hpp"

namespace tool {

namespace {

namespace fs = std::filesystem;

fs::path folder_of(const fs::path &path)
{
    return path.has_parent_path() ? path.parent_path() : ".";
}

// The length of "state", "12.cbuf.z" or "12.hbuf.z" at the front of a text; 0
// when it begins with neither.
size_t ending_size(std::string_view text)
{
    constexpr std::string_view state = "state";
    constexpr std::string_view cbuf = ".cbuf.z";
    constexpr std::string_view hbuf = ".hbuf.z";
    if (text.starts_with(state)) return state.size();
    const size_t digits =
        std::min(text.find_first_not_of("0123456789"), text.size());
    const std::string_view kind = text.substr(digits, cbuf.size());
    const bool is_buffer = digits > 0 && (kind == cbuf || kind == hbuf);
    return is_buffer ? digits + kind.size() : 0;
}

// Whether a file of this name belongs to a recorder of that base name; neither
// has a folder in front.
bool belongs_to(std::string_view base, std::string_view name)
{
    if (base.empty() || !name.starts_with(base)) return false;
    name.remove_prefix(base.size());
    if (!name.starts_with('.')) return false;
    name.remove_prefix(1);
    const size_t size = ending_size(name);
    name.remove_prefix(size);
    return size > 0 && (name.empty() || name.starts_with(".orphan") ||
                        name.starts_with(".kor-tmp"));
}

// The base name in the name of a recorder's file; nothing in any other.
fs::path base_in(const fs::path &path)
{
    const std::string name = path.filename();
    for (size_t i = name.find('.'); i < name.size(); i = name.find('.', i + 1))
        if (belongs_to(name.substr(0, i), name))
            return folder_of(path) / name.substr(0, i);
    return {};
}

// The files there are of a recorder.
std::vector<fs::path> files_of(const fs::path &base)
{
    std::vector<fs::path> files;
    std::error_code error;
    fs::directory_iterator at(folder_of(base), error);
    for (; !error && at != fs::directory_iterator(); at.increment(error)) {
        const std::string name = at->path().filename();
        if (belongs_to(base.filename().string(), name))
            files.push_back(base.has_parent_path() ? at->path()
                                                   : fs::path(name));
    }
    std::sort(files.begin(), files.end());
    return files;
}

bool is_file_of(const fs::path &base, const fs::path &file)
{
    std::error_code error;
    const bool has_name =
        belongs_to(base.filename().string(), file.filename().string());
    if (has_name && fs::equivalent(folder_of(base), folder_of(file), error))
        return true;
    const auto files = files_of(base);
    return std::any_of(files.begin(), files.end(), [&](const fs::path &own) {
        return fs::equivalent(own, file, error);
    });
}

// Why a file cannot be opened: an error number, 0 if it can be or is not there.
int refusal(const fs::path &path, int flags)
{
    const int fd = open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return errno == ENOENT ? 0 : errno;
    close(fd);
    return 0;
}

std::string tell(const fs::path &path, int number)
{
    return fmt::format("{}: {}", printable(path.string()),
                       std::strerror(number));
}

}  // namespace

void refuse_recorder_file(const std::string &name, const std::string &file)
{
    for (const fs::path &base : {fs::path(name), base_in(name)}) {
        if (base.empty() || !is_file_of(base, file)) continue;
        throw failure(
            fmt::format("{} is a file of the recorder", printable(file)),
            exit_status::wrong_usage);
    }
}

std::optional<std::string> find_refusal(const std::string &name, file_use use)
{
    const bool writes = use == file_use::writing;
    const fs::path folder = folder_of(name);
    const int needed = writes ? W_OK | X_OK : X_OK;
    if (access(folder.c_str(), needed) != 0) return tell(folder, errno);
    std::vector<fs::path> files = files_of(name);
    if (!writes) files.emplace_back(name);
    for (const fs::path &path : files) {
        const int number = refusal(path, writes ? O_RDWR : O_RDONLY);
        if (number != 0) return tell(path, number);
    }
    return std::nullopt;
}

std::string explain_failure(const std::string &name, int code, file_use use)
{
    if (code != KOR_ERR_CANNOT_OPEN) return describe(code);
    return find_refusal(name, use).value_or(describe(code));
}

}  // namespace tool
