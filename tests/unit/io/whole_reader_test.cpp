#include "io/whole_reader.hpp"

#include <algorithm>

#include "binary_serializer_common.h"
#include "io/codec.hpp"
#include "support/support.hpp"

namespace {

// Gives its bytes, then `end`.
struct bytes_source {
    std::string left;
    int end = 0;
    int calls = 0;

    static int take(void *self, void *to, uint32_t size)
    {
        auto &source = *static_cast<bytes_source *>(self);
        ++source.calls;
        if (source.left.empty()) return source.end;
        const size_t n = std::min<size_t>(size, source.left.size());
        std::copy_n(source.left.begin(), n, static_cast<char *>(to));
        source.left.erase(0, n);
        return static_cast<int>(n);
    }
};

}  // namespace

TEST(WholeReader, GivesWhatTheSourceGives)
{
    bytes_source source{"abcdef"};
    vela::whole_reader reader(bytes_source::take, &source);
    char text[7] = {};
    EXPECT_EQ(reader_read_bytes(reader.get(), text, 2), 2);
    EXPECT_EQ(reader_read_bytes(reader.get(), text + 2, 4), 4);
    EXPECT_STREQ(text, "abcdef");
}

TEST(WholeReader, FailsWhereASourceEnds)
{
    bytes_source source{"abc"};
    vela::whole_reader reader(bytes_source::take, &source);
    char text[4];
    EXPECT_EQ(reader_read_bytes(reader.get(), text, 4), KOR_ERR_TRUNCATED);
    EXPECT_EQ(reader_read_bytes(reader.get(), text, 1), KOR_ERR_TRUNCATED);
}

TEST(WholeReader, PassesOnTheCodeOfASource)
{
    bytes_source source{"", KOR_ERR_NO_MEMORY};
    vela::whole_reader reader(bytes_source::take, &source);
    char byte;
    EXPECT_EQ(reader_read_bytes(reader.get(), &byte, 1), KOR_ERR_NO_MEMORY);
}

TEST(WholeReader, SparesAStringTheEndsOnWhichItAborts)
{
    const std::string stored = test::bytes("00000003 616263");
    for (size_t size = 0; size < stored.size(); ++size) {
        bytes_source source{stored.substr(0, size)};
        vela::whole_reader reader(bytes_source::take, &source);
        int nread = 0;
        EXPECT_EQ(binary_serializer_read_string(reader.get(), &nread), nullptr);
        EXPECT_EQ(vela_get_last_error(), KOR_ERR_TRUNCATED) << size;
    }
}

TEST(WholeReader, TakesRunsOfFieldsInOneRead)
{
    bytes_source source{test::bytes("00000001 00000002")};
    vela::whole_reader reader(bytes_source::take, &source);
    vela::decoder archive(reader.get());
    uint32_t a = 0;
    uint32_t b = 0;
    archive.fields(a, b);
    EXPECT_EQ(archive.result(), 8);
    EXPECT_EQ(source.calls, 1);
    EXPECT_EQ(a, 1u);
    EXPECT_EQ(b, 2u);
}
