#include "recorder/buffer_scan.hpp"

#include <zlib.h>

#include "recorder/heap_object.hpp"
#include "unit/recorder/recovery_support.hpp"

namespace {

using namespace test;
using vela::scanned;

class BufferScan : public InScratchFolder {
protected:
    // What a scan says of a file, item by item, as "record TYPE", "gap A+N"
    // and "tail A+N".
    static std::vector<std::string> scan(const std::string &content,
                                         const std::string &name = "a.cbuf.z")
    {
        write_file(name, content);
        const auto scan = vela::make_heap_object<vela::buffer_scan>();
        EXPECT_EQ(scan->open(name.c_str(), vela::kind_of_name(name.c_str())),
                  0);
        std::vector<std::string> items;
        for (;;) {
            const scanned item = scan->next();
            const std::string place = std::to_string(scan->offset()) + "+" +
                                      std::to_string(scan->length());
            if (item == scanned::end) return items;
            if (item == scanned::record)
                items.push_back("record " +
                                std::to_string(static_cast<uint32_t>(
                                    scan->record().kind())));
            if (item == scanned::gap) items.push_back("gap " + place);
            if (item == scanned::tail) items.push_back("tail " + place);
            if (item == scanned::failed) return {"failed"};
        }
    }

    static vela::scan_summary summary_of(const std::string &content,
                                         const std::string &name = "a.cbuf.z")
    {
        write_file(name, content);
        vela::scan_summary summary;
        EXPECT_EQ(vela::summarize(name.c_str(), &summary), 0);
        return summary;
    }
};

const std::string head = current_header(4) + stored_names;
const std::string first_stream = deflate_stream(head + stored_sample_0);
const std::string second_stream = deflate_stream(stored_sample_1);
const std::string event_stream = deflate_stream(stored_event);
const std::string interval = bytes(
    "00 00 00 02 02 01 45 98 4f 01 00 00 00 00 01 45"
    "98 4f 02 00 00 00 00 00 00 00 01 01 00 00 00 01"
    "44 96 00 00 44 96 00 00 44 96 00 00 44 96 00 00"
    "44 96 00 00 49 af c8 00 4e cd fe 60 53 f1 66 18"
    "01 00 00 00 01 00 00 00 02 00 00 00 03 00 00 00 04 00 00 00 05");

using strings = std::vector<std::string>;

TEST_F(BufferScan, GivesEveryRecordOfAWholeFile)
{
    const std::string content = first_stream + second_stream + event_stream;
    EXPECT_EQ(scan(content),
              (strings{"record 1", "record 2", "record 2", "record 3"}));
    const vela::scan_summary s = summary_of(content);
    EXPECT_EQ(s.header.kind, KOR_BUFFER_TYPE_CURRENT);
    EXPECT_EQ(s.header.capacity, 4u);
    EXPECT_EQ(s.samples, 2u);
    EXPECT_EQ(s.events, 1u);
    EXPECT_EQ(s.gaps, 0u);
    EXPECT_EQ(s.bytes_torn, 0u);
    EXPECT_EQ(s.good_end, content.size());
    EXPECT_TRUE(s.names_fit);
    EXPECT_EQ(s.first_time.tv.tv_sec, at(0).tv.tv_sec);
    EXPECT_EQ(s.last_time.tv.tv_sec, at(1).tv.tv_sec);
}

TEST_F(BufferScan, TakesRecordsAsTheyLieInStreams)
{
    // All in one stream, and one in each.
    const strings expected = {"record 1", "record 2", "record 3"};
    EXPECT_EQ(scan(deflate_stream(head + stored_sample_0 + stored_event)),
              expected);
    EXPECT_EQ(
        scan(deflate_stream(current_header(4)) + deflate_stream(stored_names) +
             deflate_stream(stored_sample_0) + event_stream),
        expected);
    // Streams without content hold no records and do no harm.
    std::string content = first_stream;
    const std::string empty = deflate_stream("");
    for (int i = 0; i < 100000; ++i) content += empty;
    EXPECT_EQ(scan(content + event_stream), expected);
}

TEST_F(BufferScan, GoesOnBehindAGap)
{
    const std::string rubbish = "rubbish";
    EXPECT_EQ(scan(first_stream + rubbish + second_stream),
              (strings{"record 1", "record 2",
                       "gap " + std::to_string(first_stream.size()) + "+7",
                       "record 2"}));
    // Also behind what only looks like a stream.
    const std::string false_start =
        "\x78\x9c"
        "abc"
        "\x78\x9c\x78\x9c";
    EXPECT_EQ(scan(false_start + event_stream),
              (strings{"gap 0+9", "record 3"}));
}

TEST_F(BufferScan, DoesNotTrustAStreamWithAWrongChecksum)
{
    for (size_t i = 1; i <= 4; ++i) {
        std::string bad = second_stream;
        bad[bad.size() - i] ^= 1;
        EXPECT_EQ(scan(first_stream + bad + event_stream),
                  (strings{"record 1", "record 2",
                           "gap " + std::to_string(first_stream.size()) + "+" +
                               std::to_string(bad.size()),
                           "record 3"}));
    }
}

TEST_F(BufferScan, DoesNotTrustAStreamWithoutItsWholeChecksum)
{
    // What is left of it proves nothing, whatever the content.
    const std::string changed =
        deflate_stream(with(stored_sample_1, 20, std::string(1, '\x7e')));
    for (size_t missing = 1; missing <= 4; ++missing) {
        for (const std::string &whole : {second_stream, changed}) {
            const size_t left = whole.size() - missing;
            const std::string gap = std::to_string(first_stream.size()) + "+" +
                                    std::to_string(left);
            EXPECT_EQ(
                scan(first_stream + whole.substr(0, left) + event_stream),
                (strings{"record 1", "record 2", "gap " + gap, "record 3"}));
        }
    }
}

TEST_F(BufferScan, DoesNotTrustWholeStreamsOfBrokenRecords)
{
    const strings bad_records = {
        stored_sample_1.substr(0, 25),                    // short
        stored_sample_1 + "x",                            // long
        with(stored_sample_1, 3, std::string(1, '\4')),   // no such type
        with(stored_sample_1, 4, std::string(1, '\2')),   // version
        with(stored_sample_1, 5, std::string(1, '\0')),   // of its time
        with(stored_sample_1, 13, std::string(1, '\1')),  // microseconds
        with(stored_sample_1, 14, stored_count(0)),       // no readings
        with(stored_sample_1, 14, stored_count(10001)),   // too many
        with(stored_sample_1, 14, stored_count(0xffffffff)),
        with(stored_event, 18, stored_count(0)),       // no text
        with(stored_event, 18, stored_count(10001)),   // too long
        with(stored_event, 24, std::string(1, '\0')),  // NUL in it
        with(stored_names, 15, stored_count(0)),       // no names
        with(stored_names, 15, stored_count(3)),       // too few
        with(stored_names, 14, std::string(1, '\2')),  // version
        with(stored_names, 19, std::string(1, '\0')),  // of a sensor
        std::string("\0\0\0", 3),
        current_header(4),  // not at the front
        interval,           // of the other kind
    };
    for (const std::string &bad : bad_records) {
        const std::string stream = deflate_stream(bad);
        EXPECT_EQ(scan(first_stream + stream + event_stream),
                  (strings{"record 1", "record 2",
                           "gap " + std::to_string(first_stream.size()) + "+" +
                               std::to_string(stream.size()),
                           "record 3"}))
            << testing::PrintToString(bad);
    }
}

TEST_F(BufferScan, ChecksTheRecordsOfAHistory)
{
    const std::string start =
        deflate_stream(hist_header(4) + stored_names + interval);
    const auto scan_history = [&](const std::string &record) {
        return scan(start + deflate_stream(record), "a.hbuf.z").size();
    };
    EXPECT_EQ(scan_history(interval), 3u);
    // The older form has no counts of events.
    const std::string older =
        with(interval.substr(0, interval.size() - 21), 4, std::string(1, '\1'));
    EXPECT_EQ(scan_history(older), 3u);
    for (const std::string &bad :
         {with(interval, 4, std::string(1, '\0')),
          with(interval, 4, std::string(1, '\3')),
          with(interval, 23, stored_count(0)),
          with(interval, 23, stored_count(2)),
          with(interval, 27, std::string(1, '\2')),
          with(interval, interval.size() - 21, std::string(1, '\2')),
          interval.substr(0, interval.size() - 1), older + "x", stored_event,
          stored_sample_0}) {
        write_file("a.hbuf.z", start + deflate_stream(bad));
        vela::scan_summary s;
        ASSERT_EQ(vela::summarize("a.hbuf.z", &s), 0);
        EXPECT_EQ(s.intervals, 1u);
        EXPECT_GT(s.bytes_torn, 0u);
        EXPECT_FALSE(s.is_tail_cut);
    }
}

TEST_F(BufferScan, TellsATornTailFromAnUnreadableOne)
{
    for (size_t n = 2; n < second_stream.size(); ++n) {
        const vela::scan_summary s =
            summary_of(first_stream + second_stream.substr(0, n));
        EXPECT_EQ(s.good_end, first_stream.size());
        EXPECT_EQ(s.bytes_torn, n);
        EXPECT_TRUE(s.is_tail_cut) << n;
        EXPECT_EQ(s.samples, 1u);
    }
    EXPECT_FALSE(summary_of(first_stream + std::string(9, '\0')).is_tail_cut);
    for (size_t n = 2; n < first_stream.size(); ++n) {
        const vela::scan_summary s = summary_of(first_stream.substr(0, n));
        EXPECT_TRUE(s.is_tail_cut) << n;
        EXPECT_FALSE(is_unreadable(s));
        EXPECT_FALSE(holds_records(s));
    }
    EXPECT_TRUE(is_unreadable(summary_of("nothing that is a stream")));
    EXPECT_FALSE(is_unreadable(summary_of("")));
    // A header that is cut may be of any kind.
    const std::string cut_header =
        bytes("78 9c 63 68 60 64 60 64 60 60");  // ends in the capacity
    EXPECT_TRUE(summary_of(cut_header).is_tail_cut);
}

TEST_F(BufferScan, KnowsTheKindWithoutAHeader)
{
    const std::string broken = first_stream.substr(0, 20);
    EXPECT_EQ(summary_of(broken + second_stream).kind, KOR_BUFFER_TYPE_CURRENT);
    // From the records alone.
    const std::string values = deflate_stream(interval);
    EXPECT_EQ(summary_of(broken + values, "unknown").kind,
              KOR_BUFFER_TYPE_HIST);
    EXPECT_EQ(
        summary_of(broken + deflate_stream(stored_names) + values, "unknown")
            .intervals,
        1u);
    EXPECT_EQ(summary_of(broken + event_stream, "unknown").events, 1u);
    // The header counts more than the name.
    const vela::scan_summary s =
        summary_of(deflate_stream(hist_header(4) + stored_names + interval));
    EXPECT_EQ(s.kind, KOR_BUFFER_TYPE_HIST);
    EXPECT_EQ(s.intervals, 1u);
}

TEST_F(BufferScan, SeesValuesThatDoNotFitTheirNames)
{
    EXPECT_FALSE(summary_of(deflate_stream(current_header(4)) + second_stream)
                     .names_fit);
    const std::string one_reading =
        with(stored_sample_0.substr(0, 22), 14, stored_count(1));
    EXPECT_FALSE(
        summary_of(first_stream + deflate_stream(one_reading)).names_fit);
}

TEST_F(BufferScan, SeesNamesThatNoMergeTakes)
{
    const auto names_fit = [](const std::string &names) {
        const std::string content = hist_header(4) + names + interval;
        return summary_of(deflate_stream(content), "a.hbuf.z").names_fit;
    };
    std::string twice = stored_names;
    const std::string second = stored_count(10) + "DISK0 READ";
    const size_t at = twice.find(stored_count(9) + "CPU0 Temp");
    twice.replace(at, 13, second);
    EXPECT_FALSE(names_fit(twice));
    EXPECT_FALSE(names_fit(stored_names + stored_names));
    // Samples may have both.
    EXPECT_TRUE(summary_of(deflate_stream(current_header(4) + stored_names +
                                          twice + stored_sample_0))
                    .names_fit);
}

TEST_F(BufferScan, ReadsRecordsOfEverySizeAndWindow)
{
    // Names of the greatest length, and many readings, over many windows.
    std::string names = bytes("00 00 00 01 01 01 45 98 4f 01 00 00 00 00 01") +
                        stored_count(200);
    std::string sample =
        bytes("00 00 00 02 01 01 45 98 4f 01 00 00 00 00") + stored_count(200);
    for (uint32_t i = 0; i < 200; ++i) {
        std::string name = std::to_string(i);
        for (uint32_t k = 0; name.size() < 10000; ++k)
            name += std::to_string(k * 2654435761u + i);
        name.resize(10000);
        names += bytes("01") + stored_count(10000) + name;
        sample += stored_count(i * 2654435761u);
    }
    EXPECT_EQ(scan(deflate_stream(current_header(4) + names + sample) +
                   deflate_stream(sample)),
              (strings{"record 1", "record 2", "record 2"}));
}

TEST_F(BufferScan, RefusesWhatIsNoFile)
{
    std::filesystem::create_directory("a.cbuf.z");
    const auto scan = vela::make_heap_object<vela::buffer_scan>();
    EXPECT_EQ(scan->open("a.cbuf.z", 0), KOR_ERR_CANNOT_OPEN);
    EXPECT_FALSE(scan->was_missing());
    EXPECT_EQ(scan->open("none", 0), KOR_ERR_CANNOT_OPEN);
    EXPECT_TRUE(scan->was_missing());
    vela::scan_summary s;
    EXPECT_EQ(vela::summarize("none", &s), 0);
    EXPECT_TRUE(s.missing);
}

TEST_F(BufferScan, StaysLinearInAFileOfFalseStarts)
{
    std::string content;
    for (int i = 0; i < 400000; ++i) content += "\x78\x9c";
    EXPECT_EQ(scan(content + event_stream),
              (strings{"gap 0+800000", "record 3"}));
}

// Each false start goes through all that follows it, which passes for records.
TEST_F(BufferScan, GivesUpAFileMadeToBeSearchedForEver)
{
    const std::string content =
        bytes("00 00 00 02 01 01 45 98 4f 01 00 00 00 00") + stored_count(15) +
        bytes("00 00 00 00 00 00 78 9c");
    const std::string block = bytes("00 1a 00 e5 ff") + content;
    ASSERT_EQ(content.size(), 26u);
    std::string file = "\x78\x9c";
    for (int i = 0; i < 50000; ++i) file += block;
    write_file("a.cbuf.z", file);
    vela::scan_summary s;
    EXPECT_EQ(vela::summarize("a.cbuf.z", &s), KOR_ERR_INVALID_DATA);
}

}  // namespace
