#include "stored.hpp"

#include <zlib.h>

#include <algorithm>
#include <bit>

namespace durability {
namespace {

constexpr uint32_t names_record = 1;
constexpr uint32_t values_record = 2;
constexpr uint32_t event_record = 3;
constexpr uint32_t most = 10000;  // of anything that is counted
// Event counters in the order of the file, by event type.
constexpr uint32_t counter_types[] = {1, 4, 2, 3, 5};

// Takes values from the front of a byte sequence; once it is used up, or holds
// what must not be there, everything reads as 0.
class decoder {
public:
    explicit decoder(std::string_view bytes) : rest_(bytes) {}
    bool ok() const { return ok_; }
    bool is_empty() const { return rest_.empty(); }

    uint32_t u8() { return take(1); }
    uint32_t u32() { return take(4); }
    float f32() { return std::bit_cast<float>(u32()); }
    void require(bool condition) { ok_ = ok_ && condition; }
    void version(uint32_t expected) { require(u8() == expected); }
    uint32_t count()
    {
        const uint32_t n = u32();
        require(n >= 1 && n <= most);
        return ok_ ? n : 0;
    }
    uint32_t time()
    {
        version(1);
        const uint32_t seconds = u32();
        require(u32() == 0);
        return seconds;
    }
    std::string text()
    {
        const uint32_t size = count();
        require(size <= rest_.size());
        if (!ok_) return "";
        std::string found(rest_.substr(0, size));
        rest_.remove_prefix(size);
        return found;
    }

private:
    uint32_t take(size_t size)
    {
        require(size <= rest_.size());
        if (!ok_) return 0;
        uint32_t value = 0;
        for (size_t i = 0; i < size; ++i)
            value = value << 8 | static_cast<unsigned char>(rest_[i]);
        rest_.remove_prefix(size);
        return value;
    }

    std::string_view rest_;
    bool ok_ = true;
};

// Inflates one stream after another.
class inflater {
public:
    inflater() { inflateInit(&z_); }
    inflater(const inflater &) = delete;
    inflater &operator=(const inflater &) = delete;
    ~inflater() { inflateEnd(&z_); }

    // Returns the length of the stream at the start of `bytes`; 0 when there
    // is no whole one.
    size_t inflate_one(std::string_view bytes, std::string *content)
    {
        inflateReset(&z_);
        z_.next_in =
            reinterpret_cast<Bytef *>(const_cast<char *>(bytes.data()));
        z_.avail_in = static_cast<uInt>(bytes.size());
        content->clear();
        for (;;) {
            unsigned char block[4096];
            z_.next_out = block;
            z_.avail_out = sizeof block;
            const int result = inflate(&z_, Z_NO_FLUSH);
            content->append(reinterpret_cast<char *>(block),
                            sizeof block - z_.avail_out);
            if (result == Z_STREAM_END) return bytes.size() - z_.avail_in;
            if (result != Z_OK) return 0;
        }
    }

private:
    z_stream z_ = {};
};

// Reads the records of a buffer, stream by stream.
class buffer_decoder {
public:
    explicit buffer_decoder(stored_buffer *b) : b_(*b) {}

    // Returns false, and adds nothing, when it cannot be a stream of this
    // buffer.
    bool add(std::string_view content, extent where)
    {
        decoder in(content);
        if (b_.kind == 0) header(in);
        std::vector<item> found;
        const name_list names = names_;
        const extent names_stream = names_stream_;
        while (in.ok() && !in.is_empty()) record(in, where, &found);
        if (in.ok()) {
            std::move(found.begin(), found.end(), std::back_inserter(b_.items));
            return true;
        }
        names_ = names;
        names_stream_ = names_stream;
        return false;
    }

private:
    void header(decoder &in)
    {
        b_.kind = in.u32();
        in.require(b_.kind == current_kind || b_.kind == history_kind);
        in.version(1);
        b_.capacity = in.u32();
        in.require(b_.capacity != 0 && b_.capacity % 2 == 0);
        if (!in.ok()) b_.kind = 0;
    }

    void record(decoder &in, extent where, std::vector<item> *found)
    {
        const uint32_t type = in.u32();
        if (type == names_record) {
            read_names(in, where);
            return;
        }
        item it;
        it.names = names_;
        it.stream = where;
        it.names_stream = names_stream_;
        if (type == values_record && b_.kind == current_kind)
            sample(in, &it);
        else if (type == values_record)
            interval(in, &it);
        else if (type == event_record && b_.kind == current_kind)
            event(in, &it);
        else
            in.require(false);
        if (in.ok()) found->push_back(std::move(it));
    }

    void read_names(decoder &in, extent where)
    {
        in.version(1);
        in.time();
        in.version(1);
        const uint32_t n = in.count();
        std::vector<std::string> names;
        for (uint32_t i = 0; i < n && in.ok(); ++i) {
            in.version(1);
            names.push_back(in.text());
        }
        if (!in.ok()) return;
        names_ = std::make_shared<const std::vector<std::string>>(names);
        names_stream_ = where;
    }

    static void sample(decoder &in, item *it)
    {
        it->kind = item_kind::sample;
        in.version(1);
        it->start = it->end = in.time();
        const uint32_t n = in.count();
        for (uint32_t i = 0; i < n && in.ok(); ++i)
            it->values.push_back(in.f32());
    }

    static void event(decoder &in, item *it)
    {
        it->kind = item_kind::event;
        in.version(1);
        it->event_type = in.u32();
        it->start = it->end = in.time();
        it->text = in.text();
    }

    static void interval(decoder &in, item *it)
    {
        it->kind = item_kind::interval;
        in.version(2);
        it->start = in.time();
        it->end = in.time();
        const uint32_t n = in.count();
        for (uint32_t i = 0; i < n && in.ok(); ++i) {
            in.version(1);
            summary s;
            s.n = in.u32();
            for (float *field : {&s.min, &s.max, &s.first, &s.last, &s.sum})
                *field = in.f32();
            for (int power = 2; power <= 4; ++power) in.f32();
            it->summaries.push_back(s);
        }
        in.version(1);
        for (uint32_t type : counter_types) it->events[type - 1] = in.u32();
    }

    stored_buffer &b_;
    name_list names_;
    extent names_stream_;
};

}  // namespace

size_t stored_buffer::values() const
{
    return static_cast<size_t>(std::count_if(
        items.begin(), items.end(),
        [](const item &it) { return it.kind != item_kind::event; }));
}

stored_buffer read_buffer(std::string_view content)
{
    static inflater streams;
    stored_buffer b;
    buffer_decoder decode(&b);
    std::string records;
    while (b.good_end < content.size()) {
        const size_t size =
            streams.inflate_one(content.substr(b.good_end), &records);
        if (size == 0) break;
        if (!decode.add(records, {b.good_end, b.good_end + size})) break;
        b.good_end += size;
    }
    return b;
}

stored_state read_state(std::string_view content)
{
    constexpr size_t files_of_state[] = {0, 1, 2, 3, 3};
    stored_state s;
    decoder in(content);
    in.version(1);
    in.text();
    in.text();
    s.state = in.u32();
    in.require(s.state >= 1 && s.state <= 4);
    s.samples = in.u32();
    s.intervals = in.u32();
    in.u32();
    s.next_number = in.u32();
    in.version(1);
    if (!in.ok()) return s;
    for (size_t i = 0; i < files_of_state[s.state]; ++i)
        s.files.push_back(in.text());
    s.is_whole = in.ok();
    return s;
}

}  // namespace durability
