// Text telemetry and events through the tool's checked path, which promises
// that the library never sees a line it would abort on.
#include <cstring>
#include <limits>
#include <optional>

#include "fuzz.hpp"
#include "tool/recording.hpp"
#include "tool/telemetry_text.hpp"

// Cuts off what stands before the first form feed.
static fuzz::input take_page(fuzz::input *in)
{
    fuzz::input page = {in->data, 0};
    while (page.size < in->size && in->data[page.size] != '\f') ++page.size;
    in->data += page.size;
    in->size -= page.size;
    in->take();
    return page;
}

static void write_events(tool::recording *recording, tool::event_text *events,
                         int64_t time, bool anywhere)
{
    for (; events->pending() && events->time() <= time; events->next()) {
        if (!anywhere && !recording->takes_events()) return;
        recording->write_event(events->time(), events->type(), events->text());
    }
}

static void record_pages()
{
    tool::skipped_lines skipped;
    tool::telemetry_text text("t", skipped);
    tool::event_text events("e", skipped);
    std::optional<tool::recording> recording;
    uint64_t headers = 0;
    for (int n = 0; n < 40 && text.next(); ++n) {
        if (!recording) recording.emplace("r", tool::recorder_parameters{4, 2});
        if (headers != text.headers()) recording->use_sensors(text.names());
        headers = text.headers();
        write_events(&*recording, &events, text.time(), false);
        recording->write_sample(text.time(), text.values());
        write_events(&*recording, &events, text.time(), false);
    }
    if (!recording) return;
    write_events(&*recording, &events, std::numeric_limits<int64_t>::max(),
                 true);
    recording->sync();
}

// Telemetry, events, and telemetry for the resumed recorder.
static void record(fuzz::input in)
{
    try {
        fuzz::write_file("t", take_page(&in));
        fuzz::write_file("e", take_page(&in));
        record_pages();
        fuzz::write_file("t", in);
        fuzz::write_file("e", {});
        record_pages();
    } catch (const std::exception &) {
        // What the tool would report to its user.
    }
}

FUZZ_TARGET(record)
