// disk.hpp: a folder of files in memory, which knows what a sync has made
// durable.
//
// A disk is a value: a copy of it is what a process that is killed leaves
// behind.  With the journal kept it also tells what the power, cut off, can
// leave: what was synced, and of the rest any part in any order.
#ifndef KOR_TESTS_DURABILITY_DISK_HPP
#define KOR_TESTS_DURABILITY_DISK_HPP

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "chance.hpp"

namespace durability {

// What is left of the changes since the last sync, for each file and for the
// names in the folder.
enum class survival {
    nothing,
    content,    // of the files, but not their names
    names,      // but not the content of the files
    prefix,     // the changes up to some point, the last one torn
    scattered,  // any of the changes, some of them torn
};
inline constexpr int number_of_survivals = 5;

class disk {
public:
    static constexpr int no_file = -1;

    // --- what a process sees ---

    int find(const std::string &name) const;
    const std::string &content(int file) const { return at(file).content; }
    // The content by name; an empty one when there is no such file.
    const std::string &content(const std::string &name) const;
    std::vector<std::string> names() const;

    // --- what a process does ---

    int create(const std::string &name);
    void write(int file, size_t offset, std::string_view bytes);
    void truncate(int file, size_t size);
    void rename(const std::string &from, const std::string &to);
    void remove(const std::string &name);
    void sync(int file);
    void sync_names();

    // How often anything was changed.
    uint64_t changes() const { return changes_; }

    // --- what happens to it ---

    // From here on, what is not synced is known as such.  What is there now
    // counts as synced.
    void keep_journal();
    disk after_power_cut(survival left, chance &random) const;
    // Forgets files without a name that no process has open.
    template <class IsOpen>
    void forget_unnamed(IsOpen is_open)
    {
        if (has_journal_) return;
        for (auto i = files_.begin(); i != files_.end();)
            i = is_named(i->first) || is_open(i->first) ? ++i : files_.erase(i);
    }
    // Replaces the content of a file, whatever it is.
    void damage(const std::string &name, std::string content);

private:
    struct change {
        size_t offset;  // of a truncation: the new size
        std::string bytes;
        bool is_truncation;
    };
    struct name_change {
        std::string removed;
        std::string added;
        int file;
    };
    struct stored_file {
        std::string content;
        std::string durable;
        std::vector<change> unsynced;
    };
    using name_map = std::map<std::string, int>;

    const stored_file &at(int number) const { return files_.at(number); }
    stored_file &at(int number) { return files_.at(number); }
    bool is_named(int number) const;
    void note(name_change c);
    static void apply(const change &c, std::string *content);
    static void apply(const name_change &c, name_map *names);
    static std::string survivor(const stored_file &f, survival left,
                                chance &random);
    name_map surviving_names(survival left, chance &random) const;

    std::map<int, stored_file> files_;
    name_map names_;
    name_map durable_names_;
    std::vector<name_change> unsynced_names_;
    int next_file_ = 0;
    uint64_t changes_ = 0;
    bool has_journal_ = false;
};

}  // namespace durability

#endif
