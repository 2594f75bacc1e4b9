// cat_formats.hpp: the forms in which kor cat shows a recording.
#ifndef KOR_TOOL_CAT_FORMATS_HPP
#define KOR_TOOL_CAT_FORMATS_HPP

#include <memory>
#include <string>

#include "output.hpp"
#include "playback.hpp"
#include "selection.hpp"

namespace tool {

// Writes items one after the other.  The columns of the selection follow the
// sensors in force; sensors() is called before the first item that has any,
// and whenever they have changed.
class cat_format {
public:
    cat_format(output &out, const selection &chosen)
        : out_(out), chosen_(chosen)
    {
    }
    virtual ~cat_format() = default;
    cat_format(const cat_format &) = delete;
    cat_format &operator=(const cat_format &) = delete;

    virtual void sensors(const kor_playback_item &item) = 0;
    virtual void interval(const kor_playback_item &item) = 0;
    virtual void sample(const kor_playback_item &item) = 0;
    virtual void event(const kor_playback_item &item) = 0;

    // Whether something did not fit the format, as far as was shown.
    virtual bool is_incomplete() const { return false; }

protected:
    std::string time(const timestamp &t) const
    {
        return to_text(t.tv.tv_sec, chosen_.times());
    }

    output &out_;
    const selection &chosen_;
};

// For people.
std::unique_ptr<cat_format> make_text_format(output &out, const selection &s);
// One row for each sensor of an item; a header names the columns.
std::unique_ptr<cat_format> make_csv_format(output &out, const selection &s);
// One JSON object a line.
std::unique_ptr<cat_format> make_jsonl_format(output &out, const selection &s);
// Text telemetry: the samples only.
std::unique_ptr<cat_format> make_vorn_format(output &out, const selection &s);

}  // namespace tool

#endif
