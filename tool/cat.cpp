// cat.cpp: kor cat: intervals, samples and events as recorded.
#include <fmt/core.h>
#include <sys/stat.h>

#include <map>
#include <memory>

#include "cat_formats.hpp"
#include "messages.hpp"
#include "output.hpp"
#include "playback.hpp"
#include "recorder_files.hpp"
#include "selection.hpp"
#include "verbs.hpp"

namespace tool {

namespace {

using format_maker = std::unique_ptr<cat_format> (*)(output &,
                                                     const selection &);

const std::map<std::string, format_maker> &formats()
{
    static const std::map<std::string, format_maker> all = {
        {"text", make_text_format},
        {"csv", make_csv_format},
        {"jsonl", make_jsonl_format},
        {"vorn", make_vorn_format}};
    return all;
}

// Opening the output would cut off a file that is to be read.
void refuse_to_overwrite(const playback &source, const std::string &file)
{
    struct stat target;
    if (file.empty() || file == "-") return;
    refuse_recorder_file(source.name(), file);
    if (stat(file.c_str(), &target) != 0) return;
    for (const kor_playback_file &f : source.files()) {
        struct stat own;
        if (stat(f.filename, &own) != 0) continue;
        if (own.st_dev == target.st_dev && own.st_ino == target.st_ino) {
            throw failure(
                fmt::format("{} is a file of the recorder", printable(file)),
                exit_status::wrong_usage);
        }
    }
}

class shower {
public:
    explicit shower(const cat_options &o)
        : source_(o.name),
          chosen_(o.selection),
          vorn_(o.format == "vorn"),
          out_(checked(o)),
          format_(formats().at(o.format)(out_, chosen_))
    {
    }

    exit_status run();

private:
    const std::string &checked(const cat_options &o) const
    {
        refuse_to_overwrite(source_, o.file);
        return o.file;
    }

    void show(const kor_playback_item &item);

    playback source_;
    selection chosen_;
    bool vorn_;
    output out_;
    std::unique_ptr<cat_format> format_;
    uint64_t nshown_ = 0;
};

void shower::show(const kor_playback_item &item)
{
    const bool is_event = item.kind == KOR_PLAYBACK_EVENT;
    const bool is_sample = item.kind == KOR_PLAYBACK_SAMPLE;
    if (!chosen_.holds(item)) return;
    if (!is_event && chosen_.columns().empty()) return;
    if (vorn_ && !is_sample) return;
    nshown_++;
    if (is_event) {
        format_->event(item);
    } else if (is_sample) {
        format_->sample(item);
    } else {
        format_->interval(item);
    }
}

exit_status shower::run()
{
    bool incomplete = source_.has_lost_state();
    if (incomplete) report_lost_state(source_);
    kor_playback_item item;
    while (source_.next(item)) {
        if (item.kind == KOR_PLAYBACK_SENSORS) {
            chosen_.use_sensors(item);
            format_->sensors(item);
        } else if (item.kind == KOR_PLAYBACK_DAMAGE) {
            report_damage(item);
            incomplete = true;
        } else {
            show(item);
        }
    }
    out_.finish();
    if (incomplete || format_->is_incomplete()) return exit_status::incomplete;
    if (nshown_ > 0) return exit_status::done;
    note(fmt::format("{}: nothing in the range", printable(source_.name())));
    return exit_status::nothing;
}

}  // namespace

exit_status run_cat(const cat_options &o)
{
    return shower(o).run();
}

std::set<std::string> cat_format_names()
{
    std::set<std::string> names;
    for (const auto &[name, maker] : formats()) names.insert(name);
    return names;
}

}  // namespace tool
