// libkor.hpp: libkor for C++17 and later, header-only.
//
// Owning handles in place of create and destroy, errors as values in place of
// a last error, and a range over a playback.  Nothing here throws, and nothing
// needs exceptions or run-time type information.
//
//     auto recorder = libkor::recorder::resume("flight", 3600, 60);
//     if (!recorder) return complain(recorder.error().message());
//
//     auto vector = libkor::telemetry_vector::create({"CPU0 Temp", "FAN0"});
//     vector->set(0, 45.5);
//     vector->stamp_now();
//     if (auto error = recorder->write(*vector)) complain(error.message());
//
//     for (const libkor::item &item : *libkor::playback::open("flight"))
//         if (item.kind == KOR_PLAYBACK_SAMPLE) use(item.values[0]);
#ifndef LIBKOR_LIBKOR_HPP
#define LIBKOR_LIBKOR_HPP

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <initializer_list>
#include <iterator>
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
    int code_ = 0;
};

// A T, or the error that kept it from being made.
template <class T>
class [[nodiscard]] result {
public:
    result(T value) noexcept : value_(std::move(value)) {}
    result(libkor::error error) noexcept : error_(error) {}

    explicit operator bool() const noexcept { return !error_; }
    libkor::error error() const noexcept { return error_; }
    // Only while there is a value.
    T &operator*() noexcept { return value_; }
    T *operator->() noexcept { return &value_; }

private:
    T value_;
    libkor::error error_;
};

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

// The current time as the library's time stamp.
inline struct timestamp at(std::time_t seconds) noexcept
{
    struct timestamp t;
    timestamp_init_null(&t);
    timestamp_increment(&t, static_cast<std::uint32_t>(seconds));
    return t;
}

}  // namespace detail

// One time stamp and one reading for each of a fixed set of sensors.
class telemetry_vector {
public:
    telemetry_vector() noexcept = default;

    static result<telemetry_vector> create(const char *const *names,
                                           std::uint32_t count) noexcept
    {
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
    error stamp(std::time_t seconds) noexcept
    {
        const struct timestamp t = detail::at(seconds);
        return error(
            telemetry_matrix_update_vector_timestamp(matrix_.get(), &t));
    }
    error stamp_now() noexcept { return stamp(std::time(nullptr)); }

    struct matrix *get() const noexcept { return matrix_.get(); }

private:
    explicit telemetry_vector(struct matrix *matrix) noexcept : matrix_(matrix)
    {
    }

    detail::handle<struct matrix, matrix_destroy> matrix_;
};

// A recorder that is closed with its handle.
class recorder {
public:
    recorder() noexcept = default;

    // Recovers and continues what is there, or begins anew.  What a program
    // calls at its start.
    static result<recorder> resume(const char *name, std::uint32_t samples,
                                   std::uint32_t intervals) noexcept
    {
        return made(kor_resume(name, samples, intervals));
    }
    // Begins anew; what was there is lost.
    static result<recorder> create(const char *name, std::uint32_t samples,
                                   std::uint32_t intervals) noexcept
    {
        return made(kor_create(name, samples, intervals));
    }

    error write(const telemetry_vector &vector) noexcept
    {
        return error(kor_write_telemetry_vector(kor_.get(), vector.get()));
    }
    error write_event(std::uint32_t type, std::time_t seconds,
                      const char *text) noexcept
    {
        const struct timestamp t = detail::at(seconds);
        detail::handle<struct kor_cb_record_event, kor_cb_record_event_destroy>
            event(kor_cb_record_event_create(type, &t, text));
        if (!event) return detail::last_error();
        return error(kor_write_event(kor_.get(), event.get()));
    }
    error sync() noexcept { return error(kor_sync(kor_.get())); }

    struct kor *get() const noexcept { return kor_.get(); }

private:
    explicit recorder(struct kor *kor) noexcept : kor_(kor) {}
    static result<recorder> made(struct kor *kor) noexcept
    {
        if (kor == nullptr) return detail::last_error();
        return recorder(kor);
    }

    detail::handle<struct kor, kor_close> kor_;
};

// One item of a playback; valid until the iterator moves on.
using item = struct kor_playback_item;

// The items of a recorder or of one buffer file, once, in time order.
class playback {
public:
    playback() noexcept = default;

    static result<playback> open(const char *name) noexcept
    {
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

    iterator begin() noexcept { return iterator(this); }
    iterator end() noexcept { return {}; }

    // What ended the iteration; no failure at the regular end.
    libkor::error error() const noexcept { return error_; }

    struct kor_playback *get() const noexcept { return playback_.get(); }

private:
    bool advance() noexcept
    {
        const int code = kor_playback_next(playback_.get(), &item_);
        if (code <= 0) error_ = libkor::error(code);
        return code > 0;
    }

    detail::handle<struct kor_playback, kor_playback_close> playback_;
    item item_ = {};
    libkor::error error_;
};

}  // namespace libkor

#endif
