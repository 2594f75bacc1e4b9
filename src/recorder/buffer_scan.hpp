// buffer_scan.hpp: reading a buffer file in whatever state it is.
//
// The file is a run of zlib streams, each of whole records.  A stream counts
// only if it inflates to its end with the right checksum and holds nothing but
// whole records; every stream is therefore inflated twice, to be checked and
// then to be read, which keeps memory constant.  Behind damage the scan goes
// on at the next such stream.  Bytes before it are a gap; bytes after the last
// one are the tail.  A file in which the search would not end in reasonable
// time fails with KOR_ERR_INVALID_DATA.
#ifndef KOR_RECORDER_BUFFER_SCAN_HPP
#define KOR_RECORDER_BUFFER_SCAN_HPP

#include <cstdint>

#include "recorder/scanned_record.hpp"
#include "recorder/stream_source.hpp"

namespace vela {

enum class scanned {
    record,  // see record()
    gap,     // damage in front of a whole stream
    tail,    // bytes at the end that make no whole stream; given once
    end,     // for now: a file that grows can be scanned on
    failed,  // see error()
};

class buffer_scan {
public:
    // expected_kind: a KOR_BUFFER_TYPE_* to go by when the header is lost, or
    // 0.  Returns 0, KOR_ERR_CANNOT_OPEN or KOR_ERR_NO_MEMORY.
    int open(const char *path, uint32_t expected_kind) noexcept;
    // Takes a file that is open already.
    int adopt(open_file file, uint32_t expected_kind) noexcept;

    scanned next() noexcept;
    // The header as it lies at the start of the file; zero when it is lost.
    // Returns 0 or KOR_ERR_NO_MEMORY.
    int peek_header(struct buffer_header *header) noexcept;

    const scanned_record &record() const noexcept { return record_; }
    // The record as stored.
    const stored_bytes &bytes() const noexcept { return bytes_; }
    // Of the stream that the record is in, or of the gap or tail.
    uint64_t offset() const noexcept { return offset_; }
    uint64_t length() const noexcept { return length_; }
    // The last names record's, as of now.
    const column_names &names() const noexcept { return names_; }
    // As of now: 0 kind and capacity until a header was read.
    const struct buffer_header &header() const noexcept { return header_; }
    // A KOR_BUFFER_TYPE_*, from the header, the name or the records; or 0.
    uint32_t kind() const noexcept { return kind_; }
    // Behind the last whole stream read so far.
    uint64_t good_end() const noexcept { return good_end_; }
    uint64_t size() const noexcept { return size_; }
    // The length of the file now.
    uint64_t file_size() const noexcept { return length_of(file_.fd()); }
    // Whether the tail is the beginning of a stream, as a writer leaves it that
    // is stopped.
    bool is_tail_cut() const noexcept { return is_tail_cut_; }
    bool was_missing() const noexcept { return missing_; }
    int error() const noexcept { return error_; }

private:
    struct verdict {
        parsed result = parsed::broken;
        bool has_header = false;
        bool cut = false;  // sound as far as it goes
        uint32_t kind = 0;
        uint64_t end = 0;
    };

    scanned fail(int code) noexcept;
    parsed check_records(uint32_t kind) noexcept;
    verdict check_as(uint64_t offset, bool with_header, uint32_t kind) noexcept;
    verdict check(uint64_t offset) noexcept;
    parsed find_next(uint64_t from, uint64_t *found) noexcept;
    parsed find_candidate(uint64_t *at) noexcept;
    void enter(uint64_t offset, const verdict &stream) noexcept;
    parsed next_record() noexcept;
    scanned next_stream() noexcept;
    scanned resynchronise() noexcept;
    bool has_grown() noexcept;

    open_file file_;
    stream_source source_;
    record_parser parser_{source_};
    scanned_record record_;
    stored_bytes bytes_;
    column_names names_;
    struct buffer_header header_ = {};
    uint32_t kind_ = 0;
    uint32_t stream_kind_ = 0;
    uint64_t position_ = 0;  // where the next stream should begin
    uint64_t good_end_ = 0;
    uint64_t size_ = 0;
    uint64_t offset_ = 0;
    uint64_t length_ = 0;
    uint64_t stream_end_ = 0;
    uint64_t search_work_ = 0;
    uint64_t tail_size_ = 0;  // of the file when its tail was given; 0: not
    bool in_stream_ = false;
    bool is_tail_cut_ = false;
    bool missing_ = false;
    int error_ = 0;
};

// The kind that a file's name tells: a KOR_BUFFER_TYPE_*, or 0.
uint32_t kind_of_name(const char *path) noexcept;

// The first names record of a file; no names when there is none, or no file.
// Returns 0 or a negative code.
int find_first_names(const char *path, column_names *names) noexcept;

// All that a scan from end to end tells about a file.
struct scan_summary {
    bool missing;
    bool is_tail_cut;  // the tail is the beginning of a stream
    bool names_fit;    // names are as many as columns, and fit for a merge
    struct buffer_header header;
    uint32_t kind;
    uint32_t samples;    // of a current buffer
    uint32_t intervals;  // of a history buffer
    uint32_t events;
    uint32_t names_records;
    uint32_t gaps;
    uint32_t first_record;   // a record_kind
    uint32_t last_record;    // the same
    uint64_t bytes_damaged;  // in gaps
    uint64_t bytes_torn;     // in the tail
    uint64_t good_end;
    uint64_t size;
    struct timestamp first_time;  // of the first record
    struct timestamp last_time;   // of the last values
};

// Returns 0 (a missing file is no failure) or a negative code.
int summarize(const char *path, struct scan_summary *summary) noexcept;

inline uint32_t values_of(const struct scan_summary &s) noexcept
{
    return s.samples + s.intervals;
}
// Whether a file is more than what a writer leaves that is stopped, although
// no record of it can be read.
inline bool is_unreadable(const struct scan_summary &s) noexcept
{
    return s.first_record == 0 && s.bytes_torn > 0 && !s.is_tail_cut;
}
inline bool holds_records(const struct scan_summary &s) noexcept
{
    return s.first_record != 0;
}

}  // namespace vela

#endif
