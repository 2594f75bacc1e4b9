#include "disk.hpp"

namespace durability {

int disk::find(const std::string &name) const
{
    const auto found = names_.find(name);
    return found == names_.end() ? no_file : found->second;
}

const std::string &disk::content(const std::string &name) const
{
    static const std::string nothing;
    const int file = find(name);
    return file == no_file ? nothing : content(file);
}

std::vector<std::string> disk::names() const
{
    std::vector<std::string> all;
    for (const auto &[name, file] : names_) all.push_back(name);
    return all;
}

bool disk::is_named(int number) const
{
    for (const auto &[name, file] : names_)
        if (file == number) return true;
    return false;
}

void disk::apply(const change &c, std::string *content)
{
    if (c.is_truncation) {
        content->resize(c.offset);
        return;
    }
    // A hole reads as zeros.
    if (content->size() < c.offset + c.bytes.size())
        content->resize(c.offset + c.bytes.size());
    content->replace(c.offset, c.bytes.size(), c.bytes);
}

void disk::apply(const name_change &c, name_map *names)
{
    if (!c.removed.empty()) names->erase(c.removed);
    if (!c.added.empty()) (*names)[c.added] = c.file;
}

void disk::note(name_change c)
{
    apply(c, &names_);
    ++changes_;
    if (has_journal_) unsynced_names_.push_back(std::move(c));
}

int disk::create(const std::string &name)
{
    const int number = next_file_++;
    files_[number] = {};
    note({"", name, number});
    return number;
}

void disk::write(int file, size_t offset, std::string_view bytes)
{
    const change c = {offset, std::string(bytes), false};
    apply(c, &at(file).content);
    ++changes_;
    if (has_journal_) at(file).unsynced.push_back(c);
}

void disk::truncate(int file, size_t size)
{
    if (at(file).content.size() == size) return;
    const change c = {size, "", true};
    apply(c, &at(file).content);
    ++changes_;
    if (has_journal_) at(file).unsynced.push_back(c);
}

void disk::rename(const std::string &from, const std::string &to)
{
    note({from, to, find(from)});
}

void disk::remove(const std::string &name)
{
    note({name, "", no_file});
}

void disk::sync(int file)
{
    if (!has_journal_) return;
    at(file).durable = at(file).content;
    at(file).unsynced.clear();
}

void disk::sync_names()
{
    if (!has_journal_) return;
    durable_names_ = names_;
    unsynced_names_.clear();
}

void disk::keep_journal()
{
    has_journal_ = true;
    for (auto &[number, file] : files_) sync(number);
    sync_names();
}

std::string disk::survivor(const stored_file &f, survival left, chance &random)
{
    if (left == survival::content) return f.content;
    std::string content = f.durable;
    if (left == survival::nothing || left == survival::names) return content;
    const size_t count = f.unsynced.size();
    const size_t until =
        left == survival::prefix ? random.below(count + 1) : count;
    for (size_t i = 0; i < until; ++i) {
        if (left == survival::scattered && random.one_in(2)) continue;
        change c = f.unsynced[i];
        const bool is_torn = i + 1 == until || left == survival::scattered;
        if (is_torn && random.one_in(2))
            c.bytes.resize(random.below(c.bytes.size() + 1));
        apply(c, &content);
    }
    return content;
}

disk::name_map disk::surviving_names(survival left, chance &random) const
{
    if (left == survival::names) return names_;
    name_map names = durable_names_;
    if (left == survival::nothing || left == survival::content) return names;
    const size_t count = unsynced_names_.size();
    const size_t until =
        left == survival::prefix ? random.below(count + 1) : count;
    for (size_t i = 0; i < until; ++i)
        if (left == survival::prefix || random.one_in(2))
            apply(unsynced_names_[i], &names);
    return names;
}

disk disk::after_power_cut(survival left, chance &random) const
{
    disk after;
    after.next_file_ = next_file_;
    after.names_ = surviving_names(left, random);
    for (const auto &[name, number] : after.names_)
        if (after.files_.count(number) == 0)
            after.files_[number].content = survivor(at(number), left, random);
    return after;
}

void disk::damage(const std::string &name, std::string content)
{
    at(find(name)).content = std::move(content);
    ++changes_;
}

}  // namespace durability
