#include "io/streams.hpp"

#include <cstddef>

#include "garbage_reader.h"
#include "io/whole_reader.hpp"
#include "io/zlib_state.hpp"
#include "raw_reader.h"
#include "raw_writer.h"
#include "support/support.hpp"
#include "zlib_reader.h"
#include "zlib_writer.h"

TEST(OwnStreams, AreTheRawAndTheZlibWriter)
{
    struct writer *raw = raw_writer_create(std::tmpfile(), 0);
    EXPECT_TRUE(vela::is_raw_writer(raw));
    EXPECT_FALSE(vela::is_zlib_writer(raw));
    EXPECT_TRUE(vela::is_own_writer(raw));
    struct writer *zlib = zlib_writer_create(raw);
    EXPECT_FALSE(vela::is_raw_writer(zlib));
    EXPECT_TRUE(vela::is_zlib_writer(zlib));
    EXPECT_TRUE(vela::is_own_writer(zlib));
    writer_destroy(&zlib);
}

TEST(OwnStreams, AreTheRawAndTheZlibReaderButNotTheDamagingOne)
{
    struct reader *raw = raw_reader_create(std::tmpfile(), 0);
    EXPECT_TRUE(vela::is_raw_reader(raw));
    EXPECT_FALSE(vela::is_zlib_reader(raw));
    EXPECT_TRUE(vela::is_own_reader(raw));
    struct reader *zlib = zlib_reader_create(raw);
    EXPECT_FALSE(vela::is_raw_reader(zlib));
    EXPECT_TRUE(vela::is_zlib_reader(zlib));
    EXPECT_TRUE(vela::is_own_reader(zlib));
    struct reader *garbage = garbage_reader_create(zlib, 0);
    EXPECT_FALSE(vela::is_own_reader(garbage));
    reader_destroy(&garbage);
}

TEST(OwnStreams, AreTheReadersThatGiveAllOrFail)
{
    vela::whole_reader whole([](void *, void *, uint32_t) { return 0; },
                             nullptr);
    EXPECT_TRUE(vela::is_whole_reader(whole.get()));
    EXPECT_TRUE(vela::is_own_reader(whole.get()));
    EXPECT_FALSE(vela::is_raw_reader(whole.get()));
    EXPECT_FALSE(vela::is_zlib_reader(whole.get()));
}

TEST(OwnStreams, TheTypeFieldMakesNoStreamOurs)
{
    test::memory_writer writer;
    test::memory_reader reader("");
    EXPECT_EQ(writer.get()->type, static_cast<uint32_t>(WRITER_TYPE_RAW));
    EXPECT_FALSE(vela::is_own_writer(writer.get()));
    EXPECT_EQ(reader.get()->type, static_cast<uint32_t>(READER_TYPE_RAW));
    EXPECT_FALSE(vela::is_own_reader(reader.get()));
}

TEST(OwnStreams, NullIsNone)
{
    EXPECT_FALSE(vela::is_own_writer(nullptr));
    EXPECT_FALSE(vela::is_own_reader(nullptr));
}

// Callers embed these; the fields lie where a C compiler of the target puts
// them.
TEST(StreamLayout, IsThatOfTheListedFields)
{
    constexpr bool wide = sizeof(void *) == 8;
    EXPECT_EQ(sizeof(struct reader), wide ? 40u : 24u);
    EXPECT_EQ(sizeof(struct writer), wide ? 40u : 24u);
    EXPECT_EQ(offsetof(struct reader, type), 4u);
    EXPECT_EQ(offsetof(struct reader, reader), 8u);
    EXPECT_EQ(sizeof(struct raw_reader), wide ? 24u : 12u);
    EXPECT_EQ(sizeof(struct raw_writer), wide ? 24u : 12u);
    EXPECT_EQ(sizeof(struct garbage_reader), wide ? 24u : 16u);
    EXPECT_EQ(sizeof(struct zlib_writer), wide ? 2184u : 2124u);
    EXPECT_EQ(sizeof(struct zlib_reader), wide ? 2192u : 2128u);
}
