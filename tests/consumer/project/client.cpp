// client.cpp: the same in C++.
#include <cstdio>
#include <ctime>

#include <libkor/libkor.hpp>

namespace {

constexpr int nsamples = 3;

libkor::error record(const char *name)
{
    auto vector = libkor::telemetry_vector::create({"CPU0 Temp", "FAN0 SPEED"});
    if (!vector) return vector.error();
    auto recorder = libkor::recorder::create(name, 4, 2);
    if (!recorder) return recorder.error();
    for (int i = 0; i < nsamples; ++i) {
        vector->set(0, 45.5 + i);
        if (auto error = recorder->write(*vector, std::time(nullptr)))
            return error;
    }
    return {};
}

int count_samples(const char *name)
{
    int n = 0;
    auto playback = libkor::playback::open(name);
    if (!playback) return playback.error().code();
    for (const libkor::item &item : *playback)
        if (item.kind == KOR_PLAYBACK_SAMPLE &&
            sensor_value_is_equal(item.values[0],
                                  45.5f + static_cast<float>(n)))
            ++n;
    return n;
}

}  // namespace

int main()
{
    const auto error = record("cpp-client");
    const int n = count_samples("cpp-client");
    std::printf("%s, %d samples\n", error.message(), n);
    return !error && n == nsamples ? 0 : 1;
}
