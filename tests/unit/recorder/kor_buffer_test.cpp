#include "kor_buffer.h"

#include "buffer_support.hpp"
#include "support/abort_rows.hpp"

namespace {

using test::bytes;
using test::current_header;
using test::current_holder;
using test::deflate_stream;
using test::hist_header;
using test::hist_holder;
using test::memory_writer;
using test::write_file;

using handle_holder = test::holder<struct kor_buffer, kor_buffer_destroy>;

class KorBuffer : public test::InScratchFolder {};

TEST_F(KorBuffer, NullHandleIsAllZero)
{
    struct kor_buffer rec;
    std::memset(&rec, 0xFF, sizeof rec);
    EXPECT_EQ(kor_buffer_init_null(&rec), KOR_OK);
    EXPECT_EQ(rec.type, 0u);
    EXPECT_EQ(rec.data, nullptr);
    EXPECT_EQ(rec.owns_data, 0u);
    kor_buffer_destruct(&rec);
}

TEST_F(KorBuffer, BorrowedCurrentBufferOutlivesItsHandle)
{
    const current_holder cbuf(kor_current_buffer_create("c", 4));
    struct kor_buffer rec;
    EXPECT_EQ(kor_buffer_init_current_buffer(&rec, cbuf.get()), KOR_OK);
    EXPECT_EQ(rec.type, KOR_BUFFER_TYPE_CURRENT);
    EXPECT_EQ(rec.cbuf, cbuf.get());
    EXPECT_EQ(rec.owns_data, 0u);
    kor_buffer_destruct(&rec);
    EXPECT_EQ(rec.type, 0u);
    EXPECT_EQ(rec.data, nullptr);
    EXPECT_EQ(kor_current_buffer_write_telemetry_vector(cbuf.get(),
                                                        test::sample(0).get()),
              KOR_OK);
}

TEST_F(KorBuffer, BorrowedHistBufferOutlivesItsHandle)
{
    const hist_holder hbuf(kor_hist_buffer_create("h", 4));
    struct kor_buffer rec;
    EXPECT_EQ(kor_buffer_init_hist_buffer(&rec, hbuf.get()), KOR_OK);
    EXPECT_EQ(rec.type, KOR_BUFFER_TYPE_HIST);
    EXPECT_EQ(rec.hbuf, hbuf.get());
    kor_buffer_destruct(&rec);
    EXPECT_EQ(hbuf->version, KOR_HIST_BUFFER_VERSION);
}

TEST_F(KorBuffer, StoresTheTagAndTheHeaderOfItsBuffer)
{
    const current_holder cbuf(kor_current_buffer_create("c", 4));
    const hist_holder hbuf(kor_hist_buffer_create("h", 258));
    struct kor_buffer rec;
    kor_buffer_init_current_buffer(&rec, cbuf.get());
    memory_writer current;
    EXPECT_EQ(binary_serializer_write_kor_buffer(&rec, current.get()), 9);
    EXPECT_EQ(current.bytes(), bytes("00 00 00 01 01 00 00 00 04"));
    kor_buffer_init_hist_buffer(&rec, hbuf.get());
    memory_writer hist;
    EXPECT_EQ(binary_serializer_write_kor_buffer(&rec, hist.get()), 9);
    EXPECT_EQ(hist.bytes(), bytes("00 00 00 02 01 00 00 01 02"));
}

TEST_F(KorBuffer, EveryFailedWriteComesThrough)
{
    const current_holder cbuf(kor_current_buffer_create("c", 4));
    struct kor_buffer rec;
    kor_buffer_init_current_buffer(&rec, cbuf.get());
    test::expect_writer_failures_come_through(
        current_header(4), [&rec](struct writer *out) {
            return binary_serializer_write_kor_buffer(&rec, out);
        });
}

TEST_F(KorBuffer, OpensEitherKindAndOwnsIt)
{
    write_file("c", deflate_stream(current_header(6)));
    write_file("h", deflate_stream(hist_header(8)));
    const int before = test::open_descriptors();
    handle_holder handle(kor_buffer_open_for_read_write("c"));
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->type, KOR_BUFFER_TYPE_CURRENT);
    EXPECT_EQ(handle->cbuf->max_data_records, 6);
    EXPECT_EQ(handle->owns_data, 1u);
    handle.reset(kor_buffer_open_for_read_write("h"));
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->type, KOR_BUFFER_TYPE_HIST);
    EXPECT_EQ(handle->hbuf->max_data_records, 8u);
    EXPECT_EQ(test::open_descriptors(), before + 1);
    handle.reset();
    EXPECT_EQ(test::open_descriptors(), before);
}

TEST_F(KorBuffer, ADetachedBufferOutlivesItsHandle)
{
    write_file("c", deflate_stream(current_header(6)));
    handle_holder handle(kor_buffer_open_for_read_write("c"));
    const current_holder cbuf(handle->cbuf);
    kor_buffer_detach(handle.get());
    EXPECT_EQ(handle->owns_data, 0u);
    handle.reset();
    EXPECT_EQ(cbuf->max_data_records, 6);
    EXPECT_EQ(cbuf->version, KOR_CURRENT_BUFFER_VERSION);
}

TEST_F(KorBuffer, FactoriesLeaveTheFileOpen)
{
    FILE *const fp = std::fopen("f", "w+");
    struct writer *writer = _kor_buffer_create_writer(fp);
    EXPECT_EQ(writer->type, static_cast<uint32_t>(WRITER_TYPE_ZLIB));
    writer_write_bytes(writer, "abc", 3);
    writer_destroy(&writer);
    std::rewind(fp);
    struct reader *reader = _kor_buffer_create_reader(fp);
    EXPECT_EQ(reader->type, static_cast<uint32_t>(READER_TYPE_ZLIB));
    char text[4] = {};
    EXPECT_EQ(reader_read_bytes(reader, text, 3), 3);
    EXPECT_STREQ(text, "abc");
    reader_destroy(&reader);
    EXPECT_EQ(std::fclose(fp), 0);
}

// --- files that cannot be opened ---

struct refused_file {
    const char *name;
    std::string content;
    int error;
};
void PrintTo(const refused_file &row, std::ostream *os)
{
    *os << row.name;
}

class KorBufferRefuses : public test::InScratchFolder,
                         public testing::WithParamInterface<refused_file> {};

TEST_P(KorBufferRefuses, AndLeavesNothingOpen)
{
    write_file("b", GetParam().content);
    const int before = test::open_descriptors();
    const test::allocation_count blocks;
    EXPECT_EQ(kor_buffer_open_for_read_write("b"), nullptr);
    EXPECT_EQ(vela_get_last_error(), GetParam().error);
    EXPECT_EQ(blocks.live(), 0);
    EXPECT_EQ(test::open_descriptors(), before);
    EXPECT_EQ(test::read_file("b"), GetParam().content);
}

std::string flipped(std::string content)
{
    content[content.size() / 2] = static_cast<char>(~content[5]);
    return content;
}

INSTANTIATE_TEST_SUITE_P(
    Table, KorBufferRefuses,
    testing::Values(
        refused_file{"EmptyFile", "", KOR_ERR_TRUNCATED},
        refused_file{"CutTag", deflate_stream(bytes("00 00 00")),
                     KOR_ERR_TRUNCATED},
        refused_file{"TagThree",
                     deflate_stream(bytes("00 00 00 03 01 00 00 00 04")),
                     KOR_ERR_UNKNOWN_KIND},
        refused_file{"TagZero",
                     deflate_stream(bytes("00 00 00 00 01 00 00 00 04")),
                     KOR_ERR_UNKNOWN_KIND},
        refused_file{"NotCompressed", "just some text", KOR_ERR_INFLATE},
        refused_file{"Damaged", flipped(deflate_stream(current_header(4))),
                     KOR_ERR_INFLATE},
        refused_file{"CurrentWithoutHeader", deflate_stream(bytes("00000001")),
                     KOR_ERR_INFLATE},
        refused_file{"HistWithoutHeader", deflate_stream(bytes("00000002")),
                     KOR_ERR_INFLATE},
        refused_file{"CurrentOfVersionTwo",
                     deflate_stream(bytes("00 00 00 01 02 00 00 00 04")),
                     KOR_ERR_INFLATE},
        refused_file{"HistOfVersionTwo",
                     deflate_stream(bytes("00 00 00 02 02 00 00 00 04")),
                     KOR_ERR_INFLATE},
        refused_file{"CurrentWithCutCapacity",
                     deflate_stream(bytes("00 00 00 01 01 00 00")),
                     KOR_ERR_INFLATE},
        refused_file{"CurrentOfCapacityZero", deflate_stream(current_header(0)),
                     KOR_ERR_INFLATE},
        refused_file{"HistOfOddCapacity", deflate_stream(hist_header(3)),
                     KOR_ERR_INFLATE},
        refused_file{"CurrentThatBeginsWithAnEvent",
                     deflate_stream(current_header(4) + test::stored_event),
                     KOR_ERR_UNKNOWN_KIND},
        refused_file{"CurrentThatBeginsWithValues",
                     deflate_stream(current_header(4) + test::stored_sample_0),
                     KOR_ERR_UNKNOWN_KIND},
        refused_file{"CurrentWithUnknownRecord",
                     deflate_stream(current_header(4) + bytes("00000009")),
                     KOR_ERR_INVALID_DATA},
        refused_file{"CurrentWithCutNames",
                     deflate_stream(current_header(4) +
                                    test::stored_names.substr(0, 40)),
                     KOR_ERR_TRUNCATED}),
    [](const auto &row) { return std::string(row.param.name); });

TEST_F(KorBuffer, AMissingOrUnwritableFileCannotBeOpened)
{
    EXPECT_EQ(kor_buffer_open_for_read_write("missing"), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_CANNOT_OPEN);
    EXPECT_EQ(kor_buffer_open_for_read_write("."), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_CANNOT_OPEN);
}

TEST_F(KorBuffer, EveryAllocationFailureWhileOpeningIsClean)
{
    test::write_streams(
        "c", {current_header(4) + test::stored_names + test::stored_sample_0});
    test::expect_every_allocation_failure_is_clean([] {
        struct kor_buffer *handle = kor_buffer_open_for_read_write("c");
        if (handle == nullptr) return vela_get_last_error();
        kor_buffer_destroy(&handle);
        return static_cast<int>(KOR_OK);
    });
}

// --- aborts ---

struct kor_buffer *null_handle()
{
    static struct kor_buffer rec;
    kor_buffer_init_null(&rec);
    return &rec;
}
struct kor_buffer *handle_of(uint32_t type, uint32_t owns_data)
{
    struct kor_buffer *const rec = null_handle();
    rec->type = type;
    rec->owns_data = owns_data;
    return rec;
}
struct writer *sink()
{
    static memory_writer out;
    return out.get();
}

class KorBufferDeathTest : public test::AbortRow {};
KOR_ABORT_ROWS(KorBufferDeathTest,
               {"InitNullCurrentBuffer", "cbuf != NULL",
                [] {
                    kor_buffer_init_current_buffer(null_handle(), nullptr);
                }},
               {"InitNullHistBuffer", "hbuf != NULL",
                [] {
                    kor_buffer_init_hist_buffer(null_handle(), nullptr);
                }},
               {"InitCurrentOfNull", "rec != NULL",
                [] {
                    kor_buffer_init_current_buffer(nullptr, nullptr);
                }},
               {"InitHistOfNull", "rec != NULL",
                [] {
                    kor_buffer_init_hist_buffer(nullptr, nullptr);
                }},
               {"InitNullOfNull", "rec != NULL",
                [] {
                    kor_buffer_init_null(nullptr);
                }},
               {"DestructNull", "rec != NULL",
                [] {
                    kor_buffer_destruct(nullptr);
                }},
               {"DestructCurrentWithoutBuffer", "rec->cbuf != NULL",
                [] {
                    kor_buffer_destruct(handle_of(KOR_BUFFER_TYPE_CURRENT, 1));
                }},
               {"DestructHistWithoutBuffer", "rec->hbuf != NULL",
                [] {
                    kor_buffer_destruct(handle_of(KOR_BUFFER_TYPE_HIST, 1));
                }},
               {"DestructUnknownKind", "_kor_buffer_is_known(rec->type)",
                [] {
                    kor_buffer_destruct(handle_of(3, 1));
                }},
               {"DestroyNull", "buf != NULL",
                [] {
                    kor_buffer_destroy(nullptr);
                }},
               {"DestroyOfNull", "*buf != NULL",
                [] {
                    struct kor_buffer *handle = nullptr;
                    kor_buffer_destroy(&handle);
                }},
               {"DetachNull", "rec != NULL",
                [] {
                    kor_buffer_detach(nullptr);
                }},
               {"DetachWithoutType", "rec->type > 0",
                [] {
                    kor_buffer_detach(null_handle());
                }},
               {"DetachWithoutData", "rec->data != NULL",
                [] {
                    kor_buffer_detach(handle_of(KOR_BUFFER_TYPE_HIST, 1));
                }},
               {"WriteNull", "rec != NULL",
                [] {
                    binary_serializer_write_kor_buffer(nullptr, sink());
                }},
               {"WriteToNull", "writer != NULL",
                [] {
                    binary_serializer_write_kor_buffer(null_handle(), nullptr);
                }},
               {"OpenNull", "filename != NULL",
                [] {
                    kor_buffer_open_for_read_write(nullptr);
                }},
               {"ReaderOfNull", "fp != NULL",
                [] {
                    _kor_buffer_create_reader(nullptr);
                }},
               {"WriterOfNull", "fp != NULL", [] {
                    _kor_buffer_create_writer(nullptr);
                }});

// The tag is stored before it is looked at.
TEST(KorBufferTagDeathTest, AnUnknownTypeAbortsBehindItsTag)
{
    struct kor_buffer *const rec = handle_of(3, 0);
    memory_writer out;
    out.get()->fn_write_bytes = [](void *, const void *buf, uint32_t len) {
        std::fprintf(stderr, "stored %u bytes ending in %d\n", len,
                     static_cast<const char *>(buf)[len - 1]);
        return static_cast<int>(len);
    };
    EXPECT_DEATH(
        binary_serializer_write_kor_buffer(rec, out.get()),
        testing::AllOf(testing::HasSubstr("stored 4 bytes ending in 3"),
                       testing::HasSubstr("Assertion `")));
}

}  // namespace
