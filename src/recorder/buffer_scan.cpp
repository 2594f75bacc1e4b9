#include "recorder/buffer_scan.hpp"

#include <cstring>
#include <utility>

#include "error.h"
#include "kor_buffer.h"
#include "recorder/heap_object.hpp"

namespace {

// How every stream of the library begins: 32 KiB window, default level.
constexpr unsigned char stream_mark[] = {0x78, 0x9c};

// What the search behind damage may inflate.  What looks like a stream by
// chance fails after some bytes; only a file made for it asks for more.
constexpr uint64_t min_search_limit = uint64_t{64} << 20;
constexpr uint64_t search_limit_per_byte = 64;

constexpr char cbuf_suffix[] = ".cbuf.z";
constexpr char hbuf_suffix[] = ".hbuf.z";

bool ends_with(const char *text, const char *suffix) noexcept
{
    const size_t length = std::strlen(text);
    const size_t ending = std::strlen(suffix);
    return length >= ending && std::strcmp(text + length - ending, suffix) == 0;
}

}  // namespace

uint32_t vela::kind_of_name(const char *path) noexcept
{
    if (ends_with(path, cbuf_suffix)) return KOR_BUFFER_TYPE_CURRENT;
    if (ends_with(path, hbuf_suffix)) return KOR_BUFFER_TYPE_HIST;
    return 0;
}

int vela::buffer_scan::open(const char *path, uint32_t expected_kind) noexcept
{
    open_file file = open_for_reading(path, &missing_);
    if (!file) return KOR_ERR_CANNOT_OPEN;
    return adopt(std::move(file), expected_kind);
}

int vela::buffer_scan::adopt(open_file file, uint32_t expected_kind) noexcept
{
    file_ = std::move(file);
    kind_ = expected_kind;
    return source_.attach(file_.fd());
}

vela::scanned vela::buffer_scan::fail(int code) noexcept
{
    error_ = code;
    return scanned::failed;
}

// Checks the records of the stream that was started.
vela::parsed vela::buffer_scan::check_records(uint32_t kind) noexcept
{
    parsed result;
    do {
        result = parser_.record(kind, &record_, nullptr);
    } while (result == parsed::record);
    return result;
}

vela::buffer_scan::verdict vela::buffer_scan::check_as(uint64_t offset,
                                                       bool with_header,
                                                       uint32_t kind) noexcept
{
    verdict stream;
    struct buffer_header header = {};
    source_.start(offset);
    if (with_header) {
        stream.result = parser_.header(&header);
        kind = header.kind;
    }
    if (!with_header || stream.result == parsed::record)
        stream.result = check_records(kind);
    stream.cut = source_.state() == stream_state::cut;
    stream.has_header = with_header;
    stream.kind = kind;
    stream.end = source_.end();
    return stream;
}

// Tries what the stream at `offset` can be: `end` means that it is whole.
vela::buffer_scan::verdict vela::buffer_scan::check(uint64_t offset) noexcept
{
    struct attempt {
        bool has_header;
        uint32_t kind;
    };
    const bool may_have_header = header_.kind == 0 && good_end_ == 0;
    const attempt attempts[] = {
        {true, 0},
        {false, kind_ != 0 ? kind_ : KOR_BUFFER_TYPE_CURRENT},
        {false, KOR_BUFFER_TYPE_HIST},
    };
    verdict stream;
    bool was_cut = false;
    for (const attempt &a : attempts) {
        if (a.has_header && !may_have_header) continue;
        stream = check_as(offset, a.has_header, a.kind);
        was_cut = was_cut || stream.cut;
        if (stream.result != parsed::broken) break;
        if (!a.has_header && kind_ != 0) break;
    }
    stream.cut = was_cut;
    return stream;
}

// Moves `at` to the next place where a stream can begin; `end` when there is
// none.
vela::parsed vela::buffer_scan::find_candidate(uint64_t *at) noexcept
{
    for (;;) {
        const unsigned char *bytes = nullptr;
        const int available = source_.window().at(*at, &bytes);
        if (available < 0) error_ = available;
        if (available <= 0) return available < 0 ? parsed::failed : parsed::end;
        const auto size = static_cast<size_t>(available);
        const void *const mark = std::memchr(bytes, stream_mark[0], size);
        if (mark == nullptr) {
            *at += size;
            continue;
        }
        *at += static_cast<uint64_t>(static_cast<const unsigned char *>(mark) -
                                     bytes);
        const int second = source_.window().at(*at + 1, &bytes);
        if (second > 0 && bytes[0] == stream_mark[1]) return parsed::record;
        ++*at;
    }
}

// Looks for a whole stream at `from` or later.
vela::parsed vela::buffer_scan::find_next(uint64_t from,
                                          uint64_t *found) noexcept
{
    for (uint64_t at = from;; ++at) {
        const parsed candidate = find_candidate(&at);
        if (candidate != parsed::record) return candidate;
        const uint64_t before = source_.work();
        const verdict stream = check(at);
        search_work_ += source_.work() - before;
        if (search_work_ > min_search_limit + search_limit_per_byte * size_) {
            error_ = KOR_ERR_INVALID_DATA;
            return parsed::failed;
        }
        if (stream.result == parsed::broken) continue;
        *found = at;
        if (stream.result == parsed::failed) error_ = parser_.error();
        return stream.result == parsed::failed ? parsed::failed
                                               : parsed::record;
    }
}

// Starts to read the records of a stream that was found whole.
void vela::buffer_scan::enter(uint64_t offset, const verdict &stream) noexcept
{
    offset_ = offset;
    length_ = stream.end - offset;
    stream_end_ = stream.end;
    in_stream_ = true;
    source_.start(offset);
    stream_kind_ = stream.kind;
    if (!stream.has_header) return;
    parser_.header(&header_);
    kind_ = stream.kind;
}

// Takes the next record out of the stream that was entered.  A stream that
// turns out not to be whole, although it was when it was checked, has been cut
// meanwhile: it ends there.
vela::parsed vela::buffer_scan::next_record() noexcept
{
    const parsed result = parser_.record(stream_kind_, &record_, &bytes_);
    if (result == parsed::failed) return result;
    if (result != parsed::record) {
        in_stream_ = false;
        position_ = stream_end_;
        good_end_ = stream_end_;
        return parsed::end;
    }
    if (record_.kind() != record_kind::names)
        kind_ = stream_kind_;
    else if (!names_.assign(record_.names()))
        return parsed::failed;
    return result;
}

// Finds what lies between the broken stream at position_ and a whole one.
vela::scanned vela::buffer_scan::resynchronise() noexcept
{
    uint64_t found = size_;
    const parsed result = find_next(position_ + 1, &found);
    if (result == parsed::failed) return fail(error_);
    offset_ = position_;
    length_ = found - position_;
    if (result == parsed::record) {
        position_ = found;
        return scanned::gap;
    }
    tail_size_ = size_;
    return scanned::tail;
}

// Whether the length of the file is another one than it was.
bool vela::buffer_scan::has_grown() noexcept
{
    const uint64_t size = length_of(file_.fd());
    if (size == size_) return false;
    size_ = size;
    source_.window().forget();
    return true;
}

// Enters the next whole stream, or tells why there is none: `record` means
// that one was entered.
vela::scanned vela::buffer_scan::next_stream() noexcept
{
    if (position_ >= size_ || tail_size_ == size_) has_grown();
    if (position_ >= size_ || tail_size_ == size_) return scanned::end;
    tail_size_ = 0;
    verdict stream = check(position_);
    if (stream.result == parsed::broken && has_grown())
        stream = check(position_);
    if (stream.result == parsed::failed) return fail(parser_.error());
    is_tail_cut_ = stream.cut;
    if (stream.result == parsed::broken) return resynchronise();
    enter(position_, stream);
    return scanned::record;
}

vela::scanned vela::buffer_scan::next() noexcept
{
    for (;;) {
        if (in_stream_) {
            const parsed result = next_record();
            if (result == parsed::record) return scanned::record;
            if (result == parsed::failed)
                return fail(parser_.error() < 0 ? parser_.error()
                                                : KOR_ERR_NO_MEMORY);
        }
        const scanned result = next_stream();
        if (result != scanned::record) return result;
    }
}

int vela::buffer_scan::peek_header(struct buffer_header *header) noexcept
{
    *header = {};
    if (check_as(0, true, 0).result == parsed::end) {
        source_.start(0);
        parser_.header(header);
    }
    return parser_.error() == KOR_ERR_NO_MEMORY ? KOR_ERR_NO_MEMORY : KOR_OK;
}

int vela::find_first_names(const char *path, column_names *names) noexcept
{
    names->clear();
    const heap_object<buffer_scan> scan = make_heap_object<buffer_scan>();
    if (!scan) return KOR_ERR_NO_MEMORY;
    const int opened = scan->open(path, kind_of_name(path));
    if (opened < 0) return scan->was_missing() ? KOR_OK : opened;
    scanned item;
    do {
        item = scan->next();
    } while (item != scanned::end && item != scanned::failed &&
             scan->names().count() == 0);
    if (item == scanned::failed) return scan->error();
    return names->assign(scan->names()) ? KOR_OK : KOR_ERR_NO_MEMORY;
}

// --- the summary ---

namespace {

using vela::record_kind;
using vela::scanned;

void count_values(const vela::buffer_scan &scan, vela::scan_summary *summary)
{
    const vela::scanned_record &record = scan.record();
    summary->last_time = record.end();
    ++(record.is_interval() ? summary->intervals : summary->samples);
    if (record.count() != scan.names().count()) summary->names_fit = false;
}

// The merge of a history takes each name once, and names only with an interval
// behind them.
int count_names(const vela::buffer_scan &scan, bool follow_names,
                vela::scan_summary *summary)
{
    ++summary->names_records;
    if (!scan.record().is_of_history()) return KOR_OK;
    const int repeated = scan.names().has_repetition();
    if (follow_names || repeated == 1) summary->names_fit = false;
    return repeated < 0 ? repeated : KOR_OK;
}

int count_record(const vela::buffer_scan &scan, vela::scan_summary *summary)
{
    const record_kind kind = scan.record().kind();
    const auto stored_kind = static_cast<uint32_t>(kind);
    if (summary->first_record == 0) {
        summary->first_record = stored_kind;
        summary->first_time = scan.record().start();
    }
    const bool follows_its_kind = summary->last_record == stored_kind;
    summary->last_record = stored_kind;
    if (kind == record_kind::values) count_values(scan, summary);
    if (kind == record_kind::event) ++summary->events;
    return kind == record_kind::names
               ? count_names(scan, follows_its_kind, summary)
               : KOR_OK;
}

// Returns 0 or a negative code.
int count_item(const vela::buffer_scan &scan, scanned item,
               vela::scan_summary *summary)
{
    if (item == scanned::failed) return scan.error();
    if (item == scanned::record) return count_record(scan, summary);
    if (item == scanned::tail) summary->bytes_torn = scan.length();
    if (item != scanned::gap) return KOR_OK;
    ++summary->gaps;
    summary->bytes_damaged += scan.length();
    return KOR_OK;
}

}  // namespace

int vela::summarize(const char *path, struct scan_summary *summary) noexcept
{
    *summary = {};
    summary->names_fit = true;
    const heap_object<buffer_scan> scan = make_heap_object<buffer_scan>();
    if (!scan) return KOR_ERR_NO_MEMORY;
    const int opened = scan->open(path, kind_of_name(path));
    summary->missing = scan->was_missing();
    if (summary->missing) return KOR_OK;
    if (opened < 0) return opened;
    for (scanned item = scan->next(); item != scanned::end;
         item = scan->next()) {
        const int counted = count_item(*scan, item, summary);
        if (counted < 0) return counted;
    }
    summary->is_tail_cut = scan->is_tail_cut();
    summary->header = scan->header();
    summary->kind = scan->kind();
    summary->good_end = scan->good_end();
    summary->size = scan->size();
    return KOR_OK;
}
