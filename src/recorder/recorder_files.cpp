#include "recorder/recorder_files.hpp"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "error.h"
#include "kor_buffer.h"

namespace {

constexpr char state_suffix[] = ".state";
constexpr char cbuf_ending[] = "cbuf.z";
constexpr char hbuf_ending[] = "hbuf.z";
// The recorder builds names in 1024 bytes; ".4294967295.cbuf.z" and an
// ".orphan.NUMBER" must fit behind the base.
constexpr size_t max_base = 980;
constexpr uint32_t max_litter_number = vela::max_file_number / 2;

const char *leaf_of(const char *path) noexcept
{
    const char *const slash = std::strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

bool skip_text(const char **at, const char *text) noexcept
{
    const size_t length = std::strlen(text);
    if (std::strncmp(*at, text, length) != 0) return false;
    *at += length;
    return true;
}

// A number as the recorder writes it: no sign, no leading zero.
bool parse_number(const char **at, uint32_t *number) noexcept
{
    constexpr uint64_t base = 10;
    uint64_t value = 0;
    if (**at < '1' || **at > '9') return false;
    for (; **at >= '0' && **at <= '9'; ++*at) {
        value = base * value + static_cast<uint64_t>(**at - '0');
        if (value > vela::max_file_number) return false;
    }
    *number = static_cast<uint32_t>(value);
    return true;
}

bool by_number(const vela::recorder_file &a,
               const vela::recorder_file &b) noexcept
{
    if (a.id.number != b.id.number) return a.id.number < b.id.number;
    return a.id.kind > b.id.kind;  // a history before a buffer of its number
}

struct folder_closer {
    void operator()(DIR *folder) const noexcept { closedir(folder); }
};

}  // namespace

int vela::base_name::set(const char *filename) noexcept
{
    path_ = filename;
    leaf_ = leaf_of(filename);
    const bool fits = std::strlen(filename) <= max_base && *leaf_ != '\0';
    return fits ? KOR_OK : KOR_ERR_CANNOT_OPEN;
}

void vela::base_name::name_state(file_name *name) const noexcept
{
    std::snprintf(name->text, sizeof name->text, "%s%s", path_, state_suffix);
}

void vela::base_name::name_buffer(const buffer_id &id,
                                  file_name *name) const noexcept
{
    std::snprintf(name->text, sizeof name->text, "%s.%u.%s", path_, id.number,
                  id.kind == KOR_BUFFER_TYPE_HIST ? hbuf_ending : cbuf_ending);
}

bool vela::base_name::parse(const char *path, buffer_id *id,
                            const char **rest) const noexcept
{
    const char *at = leaf_of(path);
    if (!skip_text(&at, leaf_) || *at++ != '.') return false;
    if (!parse_number(&at, &id->number) || *at++ != '.') return false;
    if (skip_text(&at, cbuf_ending))
        id->kind = KOR_BUFFER_TYPE_CURRENT;
    else if (skip_text(&at, hbuf_ending))
        id->kind = KOR_BUFFER_TYPE_HIST;
    else
        return false;
    if (rest != nullptr) *rest = at;
    return rest != nullptr || *at == '\0';
}

bool vela::base_name::is_same(const char *other) const noexcept
{
    if (std::strcmp(leaf_, leaf_of(other)) != 0) return false;
    file_name mine;
    file_name theirs;
    folder_part(path_, mine.text, sizeof mine.text);
    folder_part(other, theirs.text, sizeof theirs.text);
    struct stat a;
    struct stat b;
    return stat(mine.text, &a) == 0 && stat(theirs.text, &b) == 0 &&
           a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

const vela::recorder_file *vela::folder_listing::find(
    const buffer_id &id) const noexcept
{
    for (const recorder_file &file : files)
        if (file.id == id) return &file;
    return nullptr;
}

namespace {

bool is_temporary(const vela::base_name &base, const char *name) noexcept
{
    vela::buffer_id id;
    const char *rest = nullptr;
    if (base.parse(name, &id, &rest))
        return std::strcmp(rest, vela::temporary_suffix) == 0;
    const char *at = name;
    return skip_text(&at, leaf_of(base.path())) &&
           skip_text(&at, state_suffix) &&
           std::strcmp(at, vela::temporary_suffix) == 0;
}

bool add_temporary(const vela::base_name &base, const char *name,
                   vela::folder_listing *listing) noexcept
{
    vela::file_name *const path = listing->temporaries.extend(1);
    if (path == nullptr) return false;
    const auto folder_size =
        static_cast<int>(leaf_of(base.path()) - base.path());
    std::snprintf(path->text, sizeof path->text, "%.*s%s", folder_size,
                  base.path(), name);
    return true;
}

bool add_name(const vela::base_name &base, const char *name,
              vela::folder_listing *listing) noexcept
{
    if (is_temporary(base, name)) return add_temporary(base, name, listing);
    vela::recorder_file file = {};
    const char *rest = nullptr;
    if (!base.parse(name, &file.id, &rest)) return true;
    // Litter may bear any number: it must not use up those that are left.
    if (*rest == '\0' || file.id.number <= max_litter_number)
        listing->highest_number =
            std::max(listing->highest_number, file.id.number);
    return *rest != '\0' || listing->files.append(file);
}

}  // namespace

int vela::list_files(const base_name &base, folder_listing *listing) noexcept
{
    file_name path;
    folder_part(base.path(), path.text, sizeof path.text);
    const std::unique_ptr<DIR, folder_closer> folder(opendir(path.text));
    if (!folder) return KOR_ERR_CANNOT_OPEN;
    errno = 0;
    while (const struct dirent *const entry = readdir(folder.get())) {
        if (!add_name(base, entry->d_name, listing)) return KOR_ERR_NO_MEMORY;
        errno = 0;
    }
    if (errno != 0) return KOR_ERR_INFLATE;
    std::sort(listing->files.begin(), listing->files.end(), by_number);
    return KOR_OK;
}

int vela::scan_files(const base_name &base, folder_listing *listing) noexcept
{
    recorder_file *kept = listing->files.begin();
    for (recorder_file &file : listing->files) {
        file_name path;
        base.name_buffer(file.id, &path);
        if (is_other_than_file(path.text)) continue;
        const int result = summarize(path.text, &file.summary);
        if (result < 0) return result;
        if (!file.summary.missing) *kept++ = file;
    }
    listing->files.shrink(static_cast<size_t>(kept - listing->files.begin()));
    return KOR_OK;
}
