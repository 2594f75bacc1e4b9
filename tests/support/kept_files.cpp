#include "support/kept_files.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

namespace {

// Beyond this a file shows nothing that shorter ones do not.
constexpr uintmax_t longest_kept = 1 << 20;

constexpr unsigned one_kept_in = 13;

// FNV-1a over names and contents.
class hash {
public:
    void add(const std::string &text)
    {
        for (const char c : text) add(static_cast<unsigned char>(c));
        add(end_of_text);
    }
    std::string digits() const
    {
        char text[17];
        std::snprintf(text, sizeof text, "%016llx",
                      static_cast<unsigned long long>(value_));
        return text;
    }

private:
    static constexpr unsigned end_of_text = 256;

    void add(unsigned symbol) { value_ = (value_ ^ symbol) * 0x100000001b3u; }

    uint64_t value_ = 0xcbf29ce484222325u;
};

bool ends_with(const std::string &text, const std::string &ending)
{
    return text.size() >= ending.size() &&
           text.compare(text.size() - ending.size(), ending.size(), ending) ==
               0;
}

// Files that are no recorder's by their name count if they begin with a zlib
// stream.
bool looks_like_a_recorders(const std::string &name, const std::string &content)
{
    return ends_with(name, ".state") || name.find("buf.z") != name.npos ||
           content.rfind("\x78\x9c", 0) == 0;
}

std::string without_slashes(std::string name)
{
    std::replace(name.begin(), name.end(), '/', '.');
    return name;
}

// Pipes, links and what cannot be read are left alone.
test::file_contents read_all(const fs::path &folder)
{
    test::file_contents files;
    std::error_code error;
    fs::recursive_directory_iterator at(
        folder, fs::directory_options::skip_permission_denied, error);
    for (; !error && at != fs::recursive_directory_iterator();
         at.increment(error)) {
        if (!fs::is_regular_file(at->symlink_status(error)) ||
            at->file_size(error) > longest_kept)
            continue;
        std::ifstream in(at->path(), std::ios::binary);
        if (!in) continue;
        const std::string name = at->path().lexically_relative(folder);
        files[name].assign(std::istreambuf_iterator<char>(in), {});
    }
    return files;
}

}  // namespace

bool test::keeps_files()
{
    return std::getenv("KOR_KEEP_FILES") != nullptr;
}

void test::keep_files(const std::string &name, file_contents files)
{
    if (!keeps_files()) return;
    for (auto at = files.begin(); at != files.end();)
        at = looks_like_a_recorders(at->first, at->second) ? ++at
                                                           : files.erase(at);
    if (files.empty()) return;
    hash h;
    for (const auto &[file, content] : files) {
        h.add(file);
        h.add(content);
    }
    const fs::path folder = fs::path(std::getenv("KOR_KEEP_FILES")) /
                            (without_slashes(name) + "-" + h.digits());
    for (const auto &[file, content] : files) {
        fs::create_directories((folder / file).parent_path());
        std::ofstream(folder / file, std::ios::binary) << content;
    }
}

void test::keep_some_files(const std::string &name, const file_contents &files)
{
    static unsigned times = 0;
    if (times++ % one_kept_in == 0) keep_files(name, files);
}

void test::keep_folder(const std::string &name, const std::string &path)
{
    if (keeps_files()) keep_files(name, read_all(path));
}
