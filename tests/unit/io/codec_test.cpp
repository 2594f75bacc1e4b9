#include "io/codec.hpp"

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "raw_reader.h"
#include "raw_writer.h"
#include "support/lent.hpp"
#include "support/support.hpp"
#include "zlib_reader.h"
#include "zlib_writer.h"

using namespace std::string_literals;

namespace {

struct destroy_writer {
    void operator()(struct writer *w) const { writer_destroy(&w); }
};
struct destroy_reader {
    void operator()(struct reader *r) const { reader_destroy(&r); }
};
using writer_ptr = std::unique_ptr<struct writer, destroy_writer>;
using reader_ptr = std::unique_ptr<struct reader, destroy_reader>;

// One record with every kind of field.
struct sample {
    uint8_t version = 1;
    uint32_t count = 0x01020304;
    int32_t seconds = -2;
    float reading = -2.5f;
    double element = 1.0;
    char *name = nullptr;
    std::vector<float> floats;
    std::vector<double> doubles;
};

constexpr auto sample_form = [](auto &ar, auto &s) {
    ar.version(s.version, 1);
    ar.fields(s.count, s.seconds, s.reading, s.element);
    ar.string(s.name);
    ar.f32s(s.floats.data(), s.floats.size());
    ar.f64s(s.doubles.data(), s.doubles.size());
    ar.u32(s.count);
    ar.i32(s.seconds);
    ar.f32(s.reading);
    ar.f64(s.element);
};

// Bits that a careless swap in a floating-point register would change.
float odd_float(size_t i)
{
    return std::bit_cast<float>(static_cast<uint32_t>(0x7F800001u + i * 8191));
}
double odd_double(size_t i)
{
    return std::bit_cast<double>(0x7FF0000000000001u + i * 0x123456789ABu);
}

sample sample_of(size_t nfloats, size_t ndoubles)
{
    static char name[] = "Temp";
    sample s;
    s.name = name;
    for (size_t i = 0; i < nfloats; ++i) s.floats.push_back(odd_float(i));
    for (size_t i = 0; i < ndoubles; ++i) s.doubles.push_back(odd_double(i));
    return s;
}

// As much of a sample as a reader needs to know before it reads.
sample empty_like(const sample &s)
{
    sample empty;
    empty.count = 0;
    empty.seconds = 0;
    empty.reading = 0;
    empty.element = 0;
    empty.floats.resize(s.floats.size());
    empty.doubles.resize(s.doubles.size());
    return empty;
}

template <class T>
bool same_bits(const std::vector<T> &a, const std::vector<T> &b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const T &x, const T &y) {
                          return std::memcmp(&x, &y, sizeof x) == 0;
                      });
}
bool same_bits(const sample &a, const sample &b)
{
    return a.count == b.count && a.seconds == b.seconds &&
           a.reading == b.reading && a.element == b.element &&
           a.name != nullptr && b.name != nullptr &&
           std::strcmp(a.name, b.name) == 0 && same_bits(a.floats, b.floats) &&
           same_bits(a.doubles, b.doubles);
}

// What each kind of stream makes of a sample.
struct outcome {
    int result = 0;
    std::string bytes;
    int calls = 0;
};

outcome through_foreign(const sample &s)
{
    test::memory_writer out;
    const int result = vela::encode(s, out.get(), sample_form);
    return {result, out.bytes(), out.calls()};
}

// A raw writer or reader over a file of this process.
writer_ptr raw_writer_to(FILE *fp)
{
    return writer_ptr(raw_writer_create(fp, 1));
}
std::string content_of(FILE *fp)
{
    std::string content;
    std::rewind(fp);
    for (int c; (c = std::fgetc(fp)) != EOF;) content += static_cast<char>(c);
    return content;
}
struct file {
    FILE *fp = std::tmpfile();
    file() = default;
    explicit file(const std::string &content)
    {
        std::fwrite(content.data(), 1, content.size(), fp);
        std::rewind(fp);
    }
    file(const file &) = delete;
    file &operator=(const file &) = delete;
    ~file() { std::fclose(fp); }
};

outcome through_raw(const sample &s)
{
    file f;
    const writer_ptr out = raw_writer_to(f.fp);
    const int result = vela::encode(s, out.get(), sample_form);
    return {result, content_of(f.fp)};
}

struct sizes {
    size_t nfloats;
    size_t ndoubles;
};
void PrintTo(const sizes &s, std::ostream *os)
{
    *os << s.nfloats << " floats and " << s.ndoubles << " doubles";
}
class Codec : public testing::TestWithParam<sizes> {
protected:
    const sample sample_ = sample_of(GetParam().nfloats, GetParam().ndoubles);
};

}  // namespace

TEST(CodecForm, IsTheseBytes)
{
    const outcome out = through_foreign(sample_of(1, 1));
    EXPECT_EQ(out.bytes, test::bytes("01"
                                     "01020304 FFFFFFFE C0200000"
                                     "3FF0000000000000"
                                     "00000004 54656D70"
                                     "7F800001"
                                     "7FF0000000000001"
                                     "01020304 FFFFFFFE C0200000"
                                     "3FF0000000000000"));
    EXPECT_EQ(out.result, 61);
}

TEST_P(Codec, AForeignWriterGetsOneCallForEachValue)
{
    const outcome out = through_foreign(sample_);
    const size_t nvalues =
        1 + 4 + 2 + sample_.floats.size() + sample_.doubles.size() + 4;
    EXPECT_EQ(static_cast<size_t>(out.calls), nvalues);
    EXPECT_EQ(static_cast<size_t>(out.result), out.bytes.size());
}

TEST_P(Codec, OurRawWriterGetsTheSameBytesAndTotal)
{
    const outcome foreign = through_foreign(sample_);
    const outcome raw = through_raw(sample_);
    EXPECT_EQ(raw.bytes, foreign.bytes);
    EXPECT_EQ(raw.result, foreign.result);
}

// The zlib writer compresses at every 2048 bytes, whatever the calls.
TEST_P(Codec, OurZlibWriterGivesTheSameStreamAndTotal)
{
    const std::string bytes = through_foreign(sample_).bytes;
    test::memory_writer by_byte_behind;
    const writer_ptr by_byte(
        zlib_writer_create(test::lend(by_byte_behind.get())));
    int by_byte_total = 0;
    for (const char &byte : bytes)
        by_byte_total += writer_write_bytes(by_byte.get(), &byte, 1);

    test::memory_writer behind;
    const writer_ptr out(zlib_writer_create(test::lend(behind.get())));
    EXPECT_EQ(vela::encode(sample_, out.get(), sample_form), by_byte_total);
    EXPECT_EQ(behind.bytes(), by_byte_behind.bytes());
    EXPECT_GE(writer_flush(out.get()), 0);
    EXPECT_GE(writer_flush(by_byte.get()), 0);
    EXPECT_EQ(behind.bytes(), by_byte_behind.bytes());
}

TEST_P(Codec, EveryReaderGivesTheSampleBack)
{
    const outcome out = through_foreign(sample_);
    test::memory_reader foreign(out.bytes);
    file plain(out.bytes);
    test::memory_reader deflated(test::deflate_stream(out.bytes));
    const reader_ptr raw(raw_reader_create(plain.fp, 1));
    const reader_ptr zlib(zlib_reader_create(test::lend(deflated.get())));
    for (struct reader *in : {foreign.get(), raw.get(), zlib.get()}) {
        sample back = empty_like(sample_);
        EXPECT_EQ(vela::decode(back, in, sample_form), out.result);
        EXPECT_TRUE(same_bits(back, sample_));
        std::free(back.name);
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, Codec,
                         testing::Values(sizes{0, 0}, sizes{1, 1},
                                         sizes{511, 255}, sizes{512, 256},
                                         sizes{513, 257}, sizes{1500, 900}),
                         [](const auto &row) {
                             return std::to_string(row.param.nfloats) +
                                    "Floats" +
                                    std::to_string(row.param.ndoubles) +
                                    "Doubles";
                         });

// --- failures ---

// The sample begins with a string's length at this offset; a stream that ends
// between it and the text aborts.
static constexpr size_t string_start = 21;

static int _decode_sample(struct reader *in)
{
    sample back = empty_like(sample_of(600, 300));
    const int result = vela::decode(back, in, sample_form);
    std::free(back.name);
    return result;
}

TEST(CodecCuts, AreRefusedAlikeByEveryReader)
{
    const std::string bytes = through_foreign(sample_of(600, 300)).bytes;
    for (size_t cut = 0; cut < bytes.size(); ++cut) {
        if (cut == string_start + 4) continue;
        SCOPED_TRACE("cut after " + std::to_string(cut) + " bytes");
        const int expected = cut == 0              ? 0
                             : cut == string_start ? KOR_ERR_END_OF_STREAM
                                                   : KOR_ERR_TRUNCATED;
        test::memory_reader foreign(bytes.substr(0, cut));
        EXPECT_EQ(_decode_sample(foreign.get()), expected);
        test::memory_reader behind(test::deflate_stream(bytes.substr(0, cut)));
        const reader_ptr zlib(zlib_reader_create(test::lend(behind.get())));
        EXPECT_EQ(_decode_sample(zlib.get()), expected);
    }
}

TEST(CodecFailure, TheFirstFailedWriteStopsTheForm)
{
    const sample s = sample_of(3, 3);
    const int ncalls = through_foreign(s).calls;
    for (int calls = 0; calls < ncalls; ++calls) {
        test::memory_writer out;
        out.fail_after(calls, -41);
        EXPECT_EQ(vela::encode(s, out.get(), sample_form), -41);
        EXPECT_EQ(out.calls(), calls + 1);
    }
}

TEST(CodecFailure, AFailedWriteOfOurOwnStopsTheFormToo)
{
    const sample s = sample_of(3000, 3000);
    for (int calls = 0; calls < 5; ++calls) {
        test::memory_writer behind;
        behind.fail_after(calls, -41);
        const writer_ptr out(zlib_writer_create(test::lend(behind.get())));
        EXPECT_EQ(vela::encode(s, out.get(), sample_form), -41);
        EXPECT_EQ(behind.calls(), calls + 1);
    }
}

TEST(CodecFailure, TheFirstFailedReadStopsTheForm)
{
    const outcome out = through_foreign(sample_of(600, 300));
    for (int calls = 0; calls < out.calls; calls += 7) {
        test::memory_reader in(out.bytes);
        in.fail_after(calls, -41);
        EXPECT_EQ(_decode_sample(in.get()), -41);
    }
}

TEST(CodecFailure, AWrongVersionCountsBeforeAnythingMissing)
{
    for (const bool own : {false, true}) {
        test::memory_reader foreign("\2");
        test::memory_reader behind(test::deflate_stream("\2"));
        const reader_ptr zlib(zlib_reader_create(test::lend(behind.get())));
        EXPECT_EQ(_decode_sample(own ? zlib.get() : foreign.get()),
                  KOR_ERR_WRONG_VERSION);
    }
}

TEST(CodecFailure, ARequiredFirstByteMakesTheEmptyStreamATruncation)
{
    test::memory_reader in("");
    sample back = empty_like(sample_of(0, 0));
    EXPECT_EQ(
        vela::decode(back, in.get(), sample_form, vela::first_byte::required),
        KOR_ERR_TRUNCATED);
}

TEST(CodecFailure, AFailedCheckStopsTheForm)
{
    test::memory_reader in(test::bytes("00000007 00000008"));
    vela::decoder archive(in.get());
    uint32_t first = 0, second = 0;
    archive.u32(first);
    archive.check(first == 7, KOR_ERR_INVALID_DATA);
    EXPECT_TRUE(archive.ok());
    archive.check(first == 8, KOR_ERR_INVALID_DATA);
    archive.check(first == 9, KOR_ERR_TOO_LONG);
    archive.u32(second);
    EXPECT_EQ(archive.result(), KOR_ERR_INVALID_DATA);
    EXPECT_EQ(second, 0u);
    EXPECT_EQ(in.position(), 4u);
}

// --- nested objects ---

namespace {

struct inner {
    uint32_t value;
};
int write_inner(const inner *object, struct writer *out)
{
    return vela::encode(*object, out,
                        [](auto &ar, auto &i) { ar.u32(i.value); });
}
int read_inner(inner *object, struct reader *in)
{
    return vela::decode(*object, in,
                        [](auto &ar, auto &i) { ar.u32(i.value); });
}
constexpr vela::serializer<inner> inner_form = {write_inner, read_inner};
constexpr auto outer_form = [](auto &ar, auto &i) {
    uint8_t version = 1;
    ar.version(version, 1);
    ar.object(i, inner_form);
};

}  // namespace

TEST(CodecObject, StandsInPlaceWithoutALength)
{
    test::memory_writer out;
    EXPECT_EQ(vela::encode(inner{0x0A0B0C0D}, out.get(), outer_form), 5);
    EXPECT_EQ(out.bytes(), test::bytes("01 0A0B0C0D"));
    test::expect_every_cut_is_refused(
        out.bytes(), {.when_empty = 0}, [](struct reader *in) {
            inner back = {};
            const int result = vela::decode(back, in, outer_form);
            EXPECT_EQ(back.value, result > 0 ? 0x0A0B0C0Du : 0u);
            return result;
        });
}
