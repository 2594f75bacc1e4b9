// Text telemetry and events through the tool's checked path, which promises
// that the library never sees a line it would abort on.
#include <unistd.h>

#include "fuzz.hpp"
#include "tool/recording.hpp"
#include "tool/telemetry_text.hpp"

static void record(fuzz::input in)
{
    const std::string base = std::string(fuzz::folder()) + "/r";
    const std::string path = fuzz::write_file("t", in);
    tool::skipped_lines skipped;
    tool::telemetry_text text(path, skipped);
    tool::recording recording(base, {4, 2});
    uint64_t headers = 0;
    for (int n = 0; n < 20 && text.next(); ++n) {
        if (headers != text.headers()) recording.use_sensors(text.names());
        headers = text.headers();
        recording.write_sample(text.time(), text.values());
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // Here a broken contract is a find: no hook, no fuzz::run.
    const std::string base = std::string(fuzz::folder()) + "/r";
    for (const char *name : {".state", ".1.cbuf.z", ".2.cbuf.z", ".3.cbuf.z"})
        unlink((base + name).c_str());
    try {
        record({data, size});
    } catch (const std::exception &) {
        // What the tool would report to its user.
    }
    return 0;
}
