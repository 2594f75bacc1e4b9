// buffer_body.hpp: what the two kinds of buffer file have in common.
//
// A buffer file is a run of whole zlib streams: one for each record, or for a
// names record and the record that needs it; the header travels in the first.
// A buffer knows where its last whole stream ends (good_end).  Bytes behind
// that place, left by a crash or by a failed write, are cut off before the
// next record is written, and what was lost with them, the header or the names
// record, is written again.
//
// These repairs apply to the library's own streams.  Where a caller has put a
// reader or writer of his own in place, nothing but the plain steps is taken.
//
// Each kind describes itself to buffer_body<Kind> by a struct that names
//     buffer, record                    its types
//     names, names_type                 the working set: member, record type
//     init_null, init_names, detach,    the functions of its records
//     destruct, write, read
//     destroy_names
//     init_handle                       makes a kor_buffer of it
//     read_header, read_record, close   its public functions
//     expect_known                      asserts a record's type
#ifndef KOR_RECORDER_BUFFER_BODY_HPP
#define KOR_RECORDER_BUFFER_BODY_HPP

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "common/contract.hpp"
#include "common/lifecycle.hpp"
#include "error.h"
#include "io/codec.hpp"
#include "io/streams.hpp"
#include "kor_buffer.h"
#include "recorder/bounded_reader.hpp"
#include "recorder/durable.hpp"
#include "recorder/guards.hpp"
#include "zlib_reader.h"

namespace vela {

// The file of a buffer: type tag, version and capacity.
inline constexpr uint32_t buffer_header_size = 4 + 1 + 4;

// Part of the interface: the version is written as long as its own value.
inline int write_buffer_header(uint8_t version, uint32_t capacity,
                               struct writer *writer) noexcept
{
    encoder archive(writer);
    archive.bytes(&version, version);
    archive.u32(capacity);
    return archive.result();
}

// Capacities are even: one that is not was never written by a recorder.
inline int read_buffer_header(uint8_t version, uint32_t &capacity,
                              struct reader *reader) noexcept
{
    decoder archive(reader);
    archive.version(version, version);
    archive.u32(capacity);
    archive.check(capacity != 0 && capacity % 2 == 0, KOR_ERR_INVALID_DATA);
    return archive.result();
}

// Every transfer shows its own size and failure: nothing waits in memory for
// a later write, where a full disk would lose it silently.
inline FILE *open_buffer_file(const char *filename, const char *mode) noexcept
{
    FILE *const fp = std::fopen(filename, mode);
    if (fp != nullptr) std::setvbuf(fp, nullptr, _IONBF, 0);
    return fp;
}

// The private part of a buffer.
struct buffer_file {
    struct writer *writer;  // the library's own
    off_t good_end;         // where the last whole stream ends
    off_t unfinished;       // bytes of the stream in progress that went out
    int read_failure;       // of a record; nothing behind it can be read
    bool at_end;            // size and working set are those of the whole file
    bool settled;         // the file ends at good_end, and so does its position
    bool header_missing;  // neither in the file nor staged for it
    bool names_missing;   // the working set is not in the file
    bool names_staged;    // the stream in progress holds them
};

template <class Kind>
class buffer_body {
    using buffer = typename Kind::buffer;
    using record = typename Kind::record;

public:
    // --- life ---

    // A buffer over a new file, its header not yet written; or null.
    template <class Capacity>
    static buffer *create(const char *filename, Capacity capacity) noexcept
    {
        unfinished_buffer made(allocate(filename));
        if (!made) return fail(KOR_ERR_NO_MEMORY);
        made->max_data_records = capacity;
        made->fp = open_buffer_file(filename, "w");
        if (made->fp == nullptr) return fail(KOR_ERR_CANNOT_OPEN);
        on_exit close_file([fp = made->fp] { std::fclose(fp); });
        if (!make_writer(*made)) return nullptr;
        close_file.cancel();
        file_of(*made).at_end = true;
        file_of(*made).settled = true;
        return made.release();
    }

    // The header waits in the writer for the first record.
    static int write_header(buffer &b) noexcept
    {
        struct kor_buffer handle;
        Kind::init_handle(&handle, &b);
        const int nwritten =
            binary_serializer_write_kor_buffer(&handle, b.writer);
        kor_buffer_destruct(&handle);
        return nwritten;
    }

    // A buffer over the rest of an open file whose type tag has been read.  On
    // failure the caller still owns `reader` and `fp`.
    static buffer *open(const char *filename, struct reader *reader,
                        FILE *fp) noexcept
    {
        unfinished_buffer made(allocate(filename));
        if (!made) return fail(KOR_ERR_NO_MEMORY);
        made->fp = fp;
        if (!make_writer(*made)) return nullptr;
        made->reader = reader;
        const int nread = Kind::read_header(made.get(), reader);
        if (nread < 1 || made->max_data_records == 0)
            return fail(KOR_ERR_INFLATE);
        const int first = read_first_record(*made);
        if (first == KOR_OK) return made.release();

        made->reader = nullptr;
        made->fp = nullptr;
        buffer *failed = made.release();
        Kind::close(&failed);
        return fail(first);
    }

    // The buffer that a handle was opened on, if it is of this kind.
    static buffer *open_by_handle(const char *filename, uint32_t type) noexcept
    {
        owned<kor_buffer_destroy> handle(
            kor_buffer_open_for_read_write(filename));
        if (!handle) {
            KOR_ASSERT(vela_get_last_error() < 0);
            return nullptr;
        }
        if (handle->type != type) {
            handle.reset();
            return fail(KOR_ERR_OTHER_KIND);
        }
        auto *const opened = static_cast<buffer *>(handle->data);
        kor_buffer_detach(handle.get());
        return opened;
    }

    static void close(buffer **b) noexcept
    {
        buffer &closing = **b;
        flush_header(closing);
        closing.version = 0;
        std::free(closing.filename);
        if (closing.reader != nullptr) reader_destroy(&closing.reader);
        writer_destroy(&closing.writer);
        closing.max_data_records = 0;
        closing.size = 0;
        if (closing.fp != nullptr) std::fclose(closing.fp);
        drop_names(closing);
        std::free(&closing);
        *b = nullptr;
    }

    // --- reading ---

    // Reads one record; returns its bytes, 0 at the end, or a negative code.
    static int read(buffer &b, record &rec) noexcept
    {
        // An adopted working set must not be read over in place.
        const bool is_adopted = rec.type == Kind::names_type &&
                                rec.owns_data == 0 &&
                                rec.data == b.*Kind::names;
        if (is_adopted) Kind::init_null(&rec);
        const int nread = Kind::read(&rec, b.reader);
        if (nread < 0 && nread != KOR_ERR_END_OF_STREAM)
            file_of(b).read_failure = nread;
        return nread;
    }

    // The names of `rec` become the working set.
    static void adopt_names(buffer &b, record &rec) noexcept
    {
        drop_names(b);
        b.*Kind::names = rec.names;
        file_of(b).names_missing = false;
        Kind::detach(&rec);
    }

    // Reads what is left of the file, so that size and working set are those
    // of its last whole stream.
    static int read_to_end(buffer &b) noexcept
    {
        buffer_file &file = file_of(b);
        if (file.read_failure < 0) return file.read_failure;
        const int result = count_records(b);
        if (result < 0) return result;
        const off_t length = file_length(b.fp);
        if (length < 0) return KOR_ERR_INFLATE;
        file.good_end = length;
        const int recounted = leave_out_torn_tail(b);
        if (recounted < 0) return file.read_failure = recounted;
        file.at_end = true;
        return KOR_OK;
    }

    // --- writing ---

    // A reopened buffer is read to its end before its first write.
    static int catch_up(buffer &b) noexcept
    {
        buffer_file &file = file_of(b);
        if (!is_ours(b) || file.at_end) return KOR_OK;
        if (is_zlib_reader(b.reader)) return read_to_end(b);
        // Without a reader of our own the file is taken as it stands.
        const off_t length = file_length(b.fp);
        if (length < 0) return KOR_ERR_INFLATE;
        file.good_end = length;
        file.at_end = true;
        return KOR_OK;
    }

    // Whether the working set must be written whatever the sensors are.
    static bool names_are_missing(const buffer &b) noexcept
    {
        return is_ours(b) && file_of(b).names_missing;
    }

    // Whether there is a working set that must be written before anything else.
    static bool owes_names(const buffer &b) noexcept
    {
        return names_are_missing(b) && b.*Kind::names != nullptr;
    }

    // A new working set, for write_names.
    static void set_names(buffer &b,
                          struct kor_cb_record_sensor_names *names) noexcept
    {
        b.*Kind::names = names;
        file_of(b).names_missing = undo_failed_writes;
    }

    // The working set of a full buffer becomes that of its empty successor.
    static void hand_over_names(buffer &from, buffer &to) noexcept
    {
        to.*Kind::names = from.*Kind::names;
        from.*Kind::names = nullptr;
        file_of(to).names_missing = true;
    }

    // Readies the file for the next stream.
    static int begin_stream(buffer &b) noexcept
    {
        if (!is_ours(b)) return KOR_OK;
        buffer_file &file = file_of(b);
        file.unfinished = 0;
        file.names_staged = false;
        if (!file.settled && !settle(b)) return KOR_ERR_INFLATE;
        if (!file.header_missing) return KOR_OK;
        const int staged = write_header(b);
        if (staged < 0) return undo(b, staged);
        file.header_missing = false;
        return KOR_OK;
    }

    static int write(buffer &b, record &rec) noexcept
    {
        const int nwritten = Kind::write(&rec, b.writer);
        if (nwritten > 0) file_of(b).unfinished += nwritten;
        return nwritten;
    }

    static int write_names(buffer &b) noexcept
    {
        record rec;
        Kind::init_names(&rec, b.*Kind::names);
        file_of(b).names_staged = true;
        const int nwritten = write(b, rec);
        Kind::destruct(&rec);
        return nwritten;
    }

    // Ends the stream whose writes gave `written`.  Returns 0, or the code of
    // the write or flush that failed, the file then being as it was.
    static int end_stream(buffer &b, int written) noexcept
    {
        if (!is_ours(b)) {
            // Part of the interface: flushed whatever the write gave.
            writer_flush(b.writer);
            return written < 0 ? written : KOR_OK;
        }
        if (written < 0) return undo(b, written);
        const int flushed = writer_flush(b.writer);
        if (flushed < 0) return undo(b, flushed);
        buffer_file &file = file_of(b);
        file.good_end += file.unfinished + flushed;
        if (file.names_staged) file.names_missing = false;
        return KOR_OK;
    }

    // Undoes a stream that failed before its end; returns `code`.
    static int undo(buffer &b, int code) noexcept
    {
        if (!is_ours(b) || !undo_failed_writes) return code;
        zlib_writer_discard(b.writer);
        settle(b);
        return code;
    }

    static void drop_names(buffer &b) noexcept
    {
        if (b.*Kind::names != nullptr) Kind::destroy_names(&(b.*Kind::names));
    }

    // A reopened buffer stops being readable at its first write.
    static void stop_reading(buffer &b) noexcept
    {
        if (b.reader != nullptr) reader_destroy(&b.reader);
    }

private:
    // One block: the private part follows the public one.
    struct storage {
        buffer object;
        buffer_file file;
    };

    struct unfinished_deleter {
        void operator()(buffer *b) const noexcept
        {
            if (b->writer != nullptr) writer_destroy(&b->writer);
            std::free(b->filename);
            std::free(b);
        }
    };
    using unfinished_buffer = std::unique_ptr<buffer, unfinished_deleter>;

    static buffer_file &file_of(const buffer &b) noexcept
    {
        return *static_cast<buffer_file *>(b.priv);
    }
    static bool is_ours(const buffer &b) noexcept
    {
        return b.writer == file_of(b).writer && is_zlib_writer(b.writer);
    }

    static bool make_writer(buffer &b) noexcept
    {
        b.writer = _kor_buffer_create_writer(b.fp);
        file_of(b).writer = b.writer;
        return b.writer != nullptr;
    }

    static buffer *allocate(const char *filename) noexcept
    {
        heap<storage> made(
            static_cast<storage *>(std::calloc(1, sizeof(storage))));
        if (!made) return nullptr;
        made->object.filename = strdup(filename);
        if (made->object.filename == nullptr) return nullptr;
        made->object.version = Kind::version;
        made->object.priv = &made->file;
        return &made.release()->object;
    }

    // Cuts the file behind its last whole stream and goes there.  What was
    // read or written before does not matter then.
    static bool settle(buffer &b) noexcept
    {
        buffer_file &file = file_of(b);
        file.header_missing = file.good_end == 0;
        file.settled = ftruncate(fileno(b.fp), file.good_end) == 0 &&
                       fseeko(b.fp, file.good_end, SEEK_SET) == 0;
        return file.settled;
    }

    // A header that nothing has followed goes out as a stream of its own.
    static void flush_header(buffer &b) noexcept
    {
        if (!is_ours(b) || b.fp == nullptr || !file_of(b).settled) return;
        if (begin_stream(b) == KOR_OK) end_stream(b, 0);
    }

    // Returns 0 for a names record and for a file that is only a header.
    static int read_first_record(buffer &b) noexcept
    {
        record rec;
        Kind::init_null(&rec);
        const int rc = Kind::read_record(&b, &rec);
        const uint32_t type = rec.type;
        Kind::destruct(&rec);
        if (rc == KOR_ERR_END_OF_STREAM) return KOR_OK;
        if (rc == KOR_OK)
            return type == Kind::names_type ? KOR_OK : KOR_ERR_UNKNOWN_KIND;
        KOR_ASSERT(rc < 0);
        return rc;
    }

    static int count_records(buffer &b) noexcept
    {
        record rec;
        Kind::init_null(&rec);
        const on_exit release([&rec] { Kind::destruct(&rec); });
        for (;;) {
            if (b.size > b.max_data_records) return KOR_ERR_INVALID_DATA;
            const int result = Kind::read_record(&b, &rec);
            if (result == KOR_ERR_END_OF_STREAM) return KOR_OK;
            if (result < 0) return result;
            Kind::expect_known(rec);
        }
    }

    // A last stream that was cut may have yielded whole records all the same.
    // They go with it, so the records are counted again without it.
    static int leave_out_torn_tail(buffer &b) noexcept
    {
        if (!cut_torn_tails || !is_zlib_reader(b.reader)) return KOR_OK;
        // The savepoint counts in 32 bits: beyond them it proves no tail torn.
        if (file_of(b).good_end > INT32_MAX) return KOR_OK;
        const uint32_t whole = zlib_reader_get_last_savepoint(b.reader);
        if (whole >= file_of(b).good_end) return KOR_OK;
        file_of(b).good_end = whole;
        b.size = 0;
        drop_names(b);
        if (whole == 0) return KOR_OK;
        struct reader *const reader = open_whole_streams(b.fp, whole);
        if (reader == nullptr) return vela_get_last_error();
        reader_destroy(&b.reader);
        b.reader = reader;
        return count_records(b);
    }

    // A reader of the first `size` bytes of a buffer file, behind the header.
    static struct reader *open_whole_streams(FILE *fp, uint32_t size) noexcept
    {
        owned<reader_destroy> bounded(bounded_reader_create(fp, size));
        if (!bounded) return nullptr;
        owned<reader_destroy> reader(zlib_reader_create(bounded.get()));
        if (!reader) return nullptr;
        static_cast<void>(bounded.release());
        uint8_t header[buffer_header_size];
        const int nread =
            binary_serializer_read_bytes(header, sizeof header, reader.get());
        return nread > 0 ? reader.release() : fail(KOR_ERR_INFLATE);
    }
};

}  // namespace vela

#endif
