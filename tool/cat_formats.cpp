// cat_formats.cpp: the forms in which kor cat shows a recording.
#include "cat_formats.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "messages.hpp"
#include "sound.hpp"
#include "telemetry_text.hpp"

namespace tool {

namespace {

class text_format : public cat_format {
public:
    using cat_format::cat_format;

    void sensors(const kor_playback_item &item) override
    {
        names_.clear();
        for (const uint32_t i : chosen_.columns()) {
            names_.push_back(printable(item.names[i]));
        }
    }

    void interval(const kor_playback_item &item) override
    {
        const std::string head =
            fmt::format("{} interval to {}", time(item.start), time(item.end));
        line_ = head;
        for (uint32_t type = 1; type <= event_types; type++) {
            const uint32_t n = events_of_type(item.event_counts, type);
            if (n > 0) append("  {} events of type {}", n, type);
        }
        line_ += '\n';
        size_t column = 0;
        for (const uint32_t i : chosen_.columns()) {
            summary(names_[column++], item.hvalues[i]);
        }
        out_.write(line_);
    }

    void sample(const kor_playback_item &item) override
    {
        line_ = time(item.start) + " sample";
        size_t column = 0;
        for (const uint32_t i : chosen_.columns()) {
            append("  {}: {}", names_[column++], to_text(item.values[i]));
        }
        line_ += '\n';
        out_.write(line_);
    }

    void event(const kor_playback_item &item) override
    {
        out_.write(fmt::format("{} event of type {}: {}\n", time(item.start),
                               item.event_type, printable(item.text)));
    }

private:
    template <class... Args>
    void append(fmt::format_string<Args...> form, Args &&...args)
    {
        line_ += fmt::format(form, std::forward<Args>(args)...);
    }

    void summary(const std::string &name, const hist_value &hv)
    {
        if (hv.count == 0) {
            append("    {}: no readings\n", name);
            return;
        }
        const auto mean = mean_of(hv);
        append("    {}: {} readings, {} to {}, mean {}, first {}, last {}\n",
               name, hv.count, to_text(hv.min), to_text(hv.max),
               mean ? to_text(*mean) : "n/a", to_text(hv.first),
               to_text(hv.last));
    }

    std::vector<std::string> names_;
    std::string line_;
};

// A field of CSV, in quotation marks where it must be.
std::string csv_field(std::string_view text)
{
    if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
        return std::string(text);
    }
    std::string field = "\"";
    for (const char c : text) {
        if (c == '"') field += '"';
        field += c;
    }
    return field + '"';
}

// A number of CSV: nothing for none.
std::string csv_number(double value)
{
    return std::isnan(value) ? "" : fmt::format("{}", value);
}

std::string csv_number(float value)
{
    return std::isnan(value) ? "" : fmt::format("{}", value);
}

class csv_format : public cat_format {
public:
    csv_format(output &out, const selection &s) : cat_format(out, s)
    {
        out_.write(
            "kind,start,end,sensor,value,count,min,max,mean,mean_error,"
            "first,last,type,text\n");
    }

    void sensors(const kor_playback_item &item) override
    {
        names_.clear();
        for (const uint32_t i : chosen_.columns()) {
            names_.push_back(csv_field(item.names[i]));
        }
    }

    void interval(const kor_playback_item &item) override
    {
        const std::string head =
            fmt::format("interval,{},{},", time(item.start), time(item.end));
        std::string rows;
        size_t column = 0;
        for (const uint32_t i : chosen_.columns()) {
            rows += head + names_[column++] + ",," + summary(item.hvalues[i]) +
                    ",,\n";
        }
        for (uint32_t type = 1; type <= event_types; type++) {
            const uint32_t n = events_of_type(item.event_counts, type);
            if (n > 0) rows += fmt::format("{},,{},,,,,,,{},\n", head, n, type);
        }
        out_.write(rows);
    }

    void sample(const kor_playback_item &item) override
    {
        const std::string t = time(item.start);
        std::string rows;
        size_t column = 0;
        for (const uint32_t i : chosen_.columns()) {
            rows += fmt::format("sample,{},{},{},{},,,,,,,,,\n", t, t,
                                names_[column++], csv_number(item.values[i]));
        }
        out_.write(rows);
    }

    void event(const kor_playback_item &item) override
    {
        const std::string t = time(item.start);
        out_.write(fmt::format("event,{},{},,,,,,,,,,{},{}\n", t, t,
                               item.event_type, csv_field(item.text)));
    }

private:
    static std::string summary(const hist_value &hv)
    {
        if (hv.count == 0) return "0,,,,,,";
        const auto mean = mean_of(hv);
        return fmt::format("{},{},{},{},{},{},{}", hv.count, csv_number(hv.min),
                           csv_number(hv.max),
                           mean ? csv_number(mean->value) : "",
                           mean ? csv_number(mean->error) : "",
                           csv_number(hv.first), csv_number(hv.last));
    }

    std::vector<std::string> names_;
};

// Texts come from files and need not be UTF-8; JSON must be.
std::string json_text(std::string_view text)
{
    using nlohmann::json;
    return json(text).dump(-1, ' ', false, json::error_handler_t::replace);
}

template <class Number>
std::string json_number(Number value)
{
    return std::isfinite(value) ? fmt::format("{}", value) : "null";
}

class jsonl_format : public cat_format {
public:
    using cat_format::cat_format;

    void sensors(const kor_playback_item &item) override
    {
        names_.clear();
        for (const uint32_t i : chosen_.columns()) {
            names_.push_back(json_text(item.names[i]));
        }
    }

    void interval(const kor_playback_item &item) override
    {
        std::string line =
            fmt::format(R"({{"kind":"interval","start":"{}","end":"{}")",
                        time(item.start), time(item.end));
        line += R"(,"sensors":{)";
        size_t column = 0;
        for (const uint32_t i : chosen_.columns()) {
            if (column > 0) line += ',';
            line += names_[column++] + ":" + summary(item.hvalues[i]);
        }
        line += R"(},"events":{)";
        for (uint32_t type = 1; type <= event_types; type++) {
            line += fmt::format(R"({}"{}":{})", type > 1 ? "," : "", type,
                                events_of_type(item.event_counts, type));
        }
        out_.write(line + "}}\n");
    }

    void sample(const kor_playback_item &item) override
    {
        std::string line = fmt::format(
            R"({{"kind":"sample","time":"{}","values":{{)", time(item.start));
        size_t column = 0;
        for (const uint32_t i : chosen_.columns()) {
            if (column > 0) line += ',';
            line += names_[column++] + ":" + json_number(item.values[i]);
        }
        out_.write(line + "}}\n");
    }

    void event(const kor_playback_item &item) override
    {
        out_.write(fmt::format(
            R"({{"kind":"event","time":"{}","type":{},"text":{}}})"
            "\n",
            time(item.start), item.event_type, json_text(item.text)));
    }

private:
    static std::string summary(const hist_value &hv)
    {
        if (hv.count == 0) return R"({"count":0})";
        const auto mean = mean_of(hv);
        return fmt::format(
            R"({{"count":{},"min":{},"max":{},"mean":{},"mean_error":{},)"
            R"("first":{},"last":{}}})",
            hv.count, json_number(hv.min), json_number(hv.max),
            mean ? json_number(mean->value) : "null",
            mean ? json_number(mean->error) : "null", json_number(hv.first),
            json_number(hv.last));
    }

    std::vector<std::string> names_;
};

class vorn_format : public cat_format {
public:
    using cat_format::cat_format;

    void sensors(const kor_playback_item &item) override
    {
        std::string names;
        bool recognised = false;
        for (const uint32_t i : chosen_.columns()) {
            names += ',';
            names += carried(item.names[i]);
            recognised = recognised || is_recognised_name(item.names[i]) ||
                         std::string_view(item.names[i]).starts_with("::");
        }
        if (names == names_) return;
        names_ = names;
        if (names.empty() || recognised) return;
        complain(
            "none of these sensors has a name by which readers of text "
            "telemetry know a header:" +
            printable(names));
        incomplete_ = true;
    }

    void interval(const kor_playback_item &) override {}
    void event(const kor_playback_item &) override {}

    void sample(const kor_playback_item &item) override
    {
        const std::string stamp = to_stamp(item.start.tv.tv_sec);
        std::string lines;
        if (names_ != written_names_) lines = stamp + names_ + '\n';
        written_names_ = names_;
        lines += stamp;
        for (const uint32_t i : chosen_.columns()) {
            lines +=
                fmt::format(",{:.3f}", static_cast<double>(item.values[i]));
        }
        out_.write(lines + '\n');
    }

    bool is_incomplete() const override { return incomplete_; }

private:
    // What separates names and lines cannot stand in a name.
    std::string carried(std::string name)
    {
        const auto breaks = [](unsigned char c) {
            return c < ' ' || c == ',';
        };
        if (std::none_of(name.begin(), name.end(), breaks)) return name;
        std::replace_if(name.begin(), name.end(), breaks, '_');
        complain("a sensor is written under the name " + in_quotes(name) +
                 ": text telemetry cannot carry its own");
        incomplete_ = true;
        return name;
    }

    std::string names_;
    std::string written_names_;
    bool incomplete_ = false;
};

}  // namespace

std::unique_ptr<cat_format> make_text_format(output &out, const selection &s)
{
    return std::make_unique<text_format>(out, s);
}

std::unique_ptr<cat_format> make_csv_format(output &out, const selection &s)
{
    return std::make_unique<csv_format>(out, s);
}

std::unique_ptr<cat_format> make_jsonl_format(output &out, const selection &s)
{
    return std::make_unique<jsonl_format>(out, s);
}

std::unique_ptr<cat_format> make_vorn_format(output &out, const selection &s)
{
    return std::make_unique<vorn_format>(out, s);
}

}  // namespace tool
