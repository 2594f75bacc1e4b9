// libkor.hpp: libkor for C++17 and later, header-only.
//
// Owning handles in place of create and destroy, errors as values in place of
// a last error, and a range over a playback.  Nothing here throws, and nothing
// needs exceptions or run-time type information.  What is only found wrong at
// run time (parameters from a configuration, a clock that is not set, an event
// that comes too early) is an error here, where the C functions abort or leave
// a file that cannot be folded.
//
//     auto recorder = libkor::recorder::resume("flight", 3600, 60);
//     if (!recorder) return complain(recorder.error().message());
//     auto vector = libkor::telemetry_vector::create({"CPU0 Temp", "FAN0"});
//     if (!vector) return complain(vector.error().message());
//
//     vector->set(0, 45.5);
//     vector->set_missing(1);
//     if (auto error = recorder->write(*vector, std::time(nullptr)))
//         complain(error.message());
//
//     auto playback = libkor::playback::open("flight");
//     if (!playback) return complain(playback.error().message());
//     for (const libkor::item &item : *playback)
//         if (item.kind == KOR_PLAYBACK_SAMPLE) use(item.values[0]);
#ifndef LIBKOR_LIBKOR_HPP
#define LIBKOR_LIBKOR_HPP

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <memory>
#include <utility>

#include "libkor.h"

namespace libkor {

// A code of the library.  True when it is a failure.
class [[nodiscard]] error {
public:
    constexpr error() noexcept = default;
    constexpr explicit error(int code) noexcept : code_(code) {}

    constexpr explicit operator bool() const noexcept { return code_ < 0; }
    constexpr int code() const noexcept { return code_; }
    const char *message() const noexcept { return vela_strerror(code_); }

private:
    int code_ = KOR_OK;
};

// A T, or the error that kept it from being made: then a T that holds nothing.
template <class T>
class [[nodiscard]] result {
public:
    result(T value) noexcept : value_(std::move(value)) {}
    result(libkor::error error) noexcept : error_(error) {}

    explicit operator bool() const noexcept { return !error_; }
    libkor::error error() const noexcept { return error_; }

    T &operator*() &noexcept { return value_; }
    const T &operator*() const &noexcept { return value_; }
    // By value: what is taken from a temporary result outlives it, also in the
    // head of a range-based for.
    T operator*() &&noexcept { return std::move(value_); }
    T *operator->() noexcept { return &value_; }
    const T *operator->() const noexcept { return &value_; }

private:
    T value_;
    libkor::error error_;
};

// The seconds since the epoch of a time stamp.
inline std::time_t seconds(const struct timestamp &t) noexcept
{
    return t.tv.tv_sec;
}

namespace detail {

template <class T, void (*Destroy)(T **)>
struct destroyer {
    void operator()(T *object) const noexcept { Destroy(&object); }
};

template <class T, void (*Destroy)(T **)>
using handle = std::unique_ptr<T, destroyer<T, Destroy>>;

inline error last_error() noexcept
{
    return error(vela_get_last_error());
}

// A time stamp holds 32 bits, and second 0 stands for none.
inline error check_time(std::time_t seconds) noexcept
{
    using limits = std::numeric_limits<std::int32_t>;
    const bool is_storable =
        seconds != 0 && seconds >= limits::min() && seconds <= limits::max();
    return error(is_storable ? KOR_OK : KOR_ERR_BAD_TIMESTAMP);
}

// The most sensors of a vector, and characters of a name, that can be stored.
inline constexpr std::uint32_t most_stored = 10000;

inline error check_name(const char *name) noexcept
{
    if (name == nullptr || name[0] == '\0') return error(KOR_ERR_INVALID_DATA);
    const bool fits = std::strlen(name) <= most_stored;
    return error(fits ? KOR_OK : KOR_ERR_TOO_LONG);
}

// Free of struct timeval, whose width is the caller's choice on some hosts.
inline struct timestamp at(std::time_t seconds) noexcept
{
    struct timestamp t;
    timestamp_init_null(&t);
    timestamp_increment(&t, static_cast<std::uint32_t>(seconds));
    return t;
}

}  // namespace detail

// One time stamp and one reading for each of a fixed set of sensors.  What is
// made by default or was moved from holds nothing and may only be assigned to.
class telemetry_vector {
public:
    telemetry_vector() noexcept = default;

    // The names are copied.  KOR_ERR_INVALID_DATA without sensors or for a
    // null or empty name, KOR_ERR_TOO_LONG for more than 10000 sensors, or
    // characters of a name, KOR_ERR_NO_MEMORY.
    static result<telemetry_vector> create(const char *const *names,
                                           std::uint32_t count) noexcept
    {
        if (count == 0) return libkor::error(KOR_ERR_INVALID_DATA);
        if (count > detail::most_stored) return libkor::error(KOR_ERR_TOO_LONG);
        for (std::uint32_t i = 0; i < count; ++i)
            if (const auto refused = detail::check_name(names[i]))
                return refused;
        detail::handle<struct matrix, matrix_destroy> values(
            matrix_create(1, count));
        if (!values) return detail::last_error();
        detail::handle<struct sensor_array, sensor_array_destroy> sensors(
            sensor_array_create_from_names(names, count));
        if (!sensors) return detail::last_error();
        const struct timestamp never = detail::at(0);
        telemetry_vector vector(telemetry_matrix_create_vector(
            values.get(), sensors.get(), &never));
        if (!vector.matrix_) return detail::last_error();
        values.release();
        sensors.release();
        return vector;
    }
    static result<telemetry_vector> create(
        std::initializer_list<const char *> names) noexcept
    {
        return create(names.begin(), static_cast<std::uint32_t>(names.size()));
    }

    std::uint32_t size() const noexcept
    {
        return telemetry_matrix_get_number_sensors(matrix_.get());
    }
    // Indices count from 0 in the order of the names; others abort.
    void set(std::uint32_t i, double reading) noexcept
    {
        matrix_set(matrix_.get(), 0, i, reading);
    }
    void set_missing(std::uint32_t i) noexcept
    {
        set(i, sensor_value_to_double(_vela_invalid_sensor_value));
    }
    double get(std::uint32_t i) const noexcept
    {
        return matrix_get(matrix_.get(), 0, i);
    }

    // KOR_ERR_BAD_TIMESTAMP for second 0 and for times beyond 32 bits, which
    // cannot be recorded; KOR_ERR_NO_MEMORY.  The old time then stays.
    error stamp(std::time_t time) noexcept
    {
        if (const error refused = detail::check_time(time)) return refused;
        const struct timestamp t = detail::at(time);
        return error(
            telemetry_matrix_update_vector_timestamp(matrix_.get(), &t));
    }
    // 0 before the first stamp.
    std::time_t time() const noexcept
    {
        return seconds(*timestamp_array_get(
            telemetry_matrix_get_timestamps(matrix_.get()), 0));
    }

    struct matrix *get() const noexcept { return matrix_.get(); }

private:
    explicit telemetry_vector(struct matrix *matrix) noexcept : matrix_(matrix)
    {
    }

    detail::handle<struct matrix, matrix_destroy> matrix_;
};

// A recorder that is closed with its handle.  What is made by default or was
// moved from holds nothing and may only be assigned to.
class recorder {
public:
    recorder() noexcept = default;

    // Recovers and continues what is there, with the parameters that it was
    // created with, or begins anew: what a program calls at its start.
    // KOR_ERR_INVALID_DATA for parameters that no recorder can have, and for a
    // recorder that has such: both must be even, the second divide the first
    // and be at most 65534.
    static result<recorder> resume(const char *name, std::uint32_t samples,
                                   std::uint32_t intervals) noexcept
    {
        return make(kor_resume, name, samples, intervals);
    }
    // Begins anew, over the state file and the first buffer of an older
    // recorder; its other files stay and belong to nothing.
    static result<recorder> create(const char *name, std::uint32_t samples,
                                   std::uint32_t intervals) noexcept
    {
        return make(kor_create, name, samples, intervals);
    }

    // KOR_ERR_BAD_TIMESTAMP for a vector that was never stamped; else a code
    // of kor_write_telemetry_vector.
    error write(const telemetry_vector &vector) noexcept
    {
        if (vector.time() == 0) return error(KOR_ERR_BAD_TIMESTAMP);
        const error written(
            kor_write_telemetry_vector(kor_.get(), vector.get()));
        takes_events_ = !written;
        return written;
    }
    // The same, stamped before.
    error write(telemetry_vector &vector, std::time_t time) noexcept
    {
        if (const error refused = vector.stamp(time)) return refused;
        return write(vector);
    }

    // type  the caller's own, 1 to 5
    // text  copied, not empty
    //
    // KOR_ERR_INCOMPLETE before a first sample was written through this
    // handle, and after a write that failed until one succeeds: a file that
    // begins with an event could not be folded.  KOR_ERR_INVALID_DATA for
    // another type or no text, KOR_ERR_BAD_TIMESTAMP as for a vector; else a
    // code of kor_write_event.
    error write_event(std::uint32_t type, std::time_t time,
                      const char *text) noexcept
    {
        if (!kor_ || !takes_events_) return error(KOR_ERR_INCOMPLETE);
        const bool is_countable = type >= 1 && type <= last_event_type;
        if (!is_countable || text == nullptr || text[0] == '\0')
            return error(KOR_ERR_INVALID_DATA);
        if (const error refused = detail::check_time(time)) return refused;
        const struct timestamp t = detail::at(time);
        detail::handle<struct kor_cb_record_event, kor_cb_record_event_destroy>
            event(kor_cb_record_event_create(type, &t, text));
        if (!event) return detail::last_error();
        return error(kor_write_event(kor_.get(), event.get()));
    }

    // Makes what was written outlast a power cut.
    error sync() noexcept { return error(kor_sync(kor_.get())); }

    struct kor *get() const noexcept { return kor_.get(); }

private:
    static constexpr std::uint32_t last_event_type = 5;
    static constexpr std::uint32_t most_intervals = 65534;  // of a fold

    explicit recorder(struct kor *kor) noexcept : kor_(kor) {}

    static bool are_possible(const char *name, std::uint32_t samples,
                             std::uint32_t intervals) noexcept
    {
        constexpr std::uint32_t most = std::numeric_limits<std::int32_t>::max();
        return name != nullptr && name[0] != '\0' && samples > 0 &&
               samples <= most && intervals > 0 &&
               intervals <= most_intervals && samples % 2 == 0 &&
               intervals % 2 == 0 && samples % intervals == 0;
    }

    template <class Make>
    static result<recorder> make(Make make_it, const char *name,
                                 std::uint32_t samples,
                                 std::uint32_t intervals) noexcept
    {
        if (!are_possible(name, samples, intervals))
            return error(KOR_ERR_INVALID_DATA);
        recorder made(make_it(name, samples, intervals));
        if (!made.kor_) return detail::last_error();
        if (made.kor_->num_hb_intervals > most_intervals)
            return error(KOR_ERR_INVALID_DATA);
        return made;
    }

    detail::handle<struct kor, kor_close> kor_;
    bool takes_events_ = false;
};

// One item of a playback; what it points at is valid until the iterator moves
// on.
using item = struct kor_playback_item;

// The items of a recorder or of one buffer file, once, in the order of their
// recording.  What is made by default or was moved from has none.
class playback {
public:
    playback() noexcept = default;

    // The name of a recorder or of one of its files.
    static result<playback> open(const char *name) noexcept
    {
        if (name == nullptr) return libkor::error(KOR_ERR_CANNOT_OPEN);
        playback opened;
        opened.playback_.reset(kor_playback_open(name));
        if (!opened.playback_) return detail::last_error();
        return opened;
    }

    class iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = item;
        using difference_type = std::ptrdiff_t;
        using pointer = const item *;
        using reference = const item &;

        iterator() noexcept = default;
        explicit iterator(playback *source) noexcept : source_(source)
        {
            ++*this;
        }
        reference operator*() const noexcept { return source_->item_; }
        pointer operator->() const noexcept { return &source_->item_; }
        iterator &operator++() noexcept
        {
            if (!source_->advance()) source_ = nullptr;
            return *this;
        }
        void operator++(int) noexcept { ++*this; }
        friend bool operator==(const iterator &a, const iterator &b) noexcept
        {
            return a.source_ == b.source_;
        }
        friend bool operator!=(const iterator &a, const iterator &b) noexcept
        {
            return !(a == b);
        }

    private:
        playback *source_ = nullptr;
    };

    // Goes on behind what was given already: after the end, with what was
    // recorded since.  The playback must stay where it is meanwhile.
    iterator begin() noexcept { return iterator(this); }
    iterator end() noexcept { return {}; }

    // What ended the last iteration; no failure at the regular end.
    libkor::error error() const noexcept { return error_; }

    // What is known of the recorder; zeros for a playback that is not open.
    struct kor_playback_info info() const noexcept
    {
        struct kor_playback_info info = {};
        if (playback_) kor_playback_get_info(playback_.get(), &info);
        return info;
    }

    struct kor_playback *get() const noexcept { return playback_.get(); }

private:
    bool advance() noexcept
    {
        if (!playback_) return false;
        const int code = kor_playback_next(playback_.get(), &item_);
        error_ = libkor::error(code < 0 ? code : KOR_OK);
        return code > 0;
    }

    detail::handle<struct kor_playback, kor_playback_close> playback_;
    item item_ = {};
    libkor::error error_;
};

}  // namespace libkor

#endif
