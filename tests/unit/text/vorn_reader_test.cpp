#include "vorn_reader.h"

#include <cmath>

#include "sensors.h"
#include "unit/text/text_support.hpp"

using test::names_of;
using test::new_year_2007;
using test::seconds_of;
using test::text_stream;
using test::values_of;
using testing::ElementsAre;

namespace {

constexpr int line_size = 65536;  // what the reader takes at once, and a NUL
const std::string two_sensors = "20070101:00:00:00,CPU0 Temp,DISK0 READ\n";
const std::string one_sensor = "20070101:00:00:00,CPU\n";

// A reader over lines in memory.
class reading {
public:
    explicit reading(const std::string &text) : stream_(text)
    {
        vela_set_last_error(0);
        vorn_ = vorn_reader_open_from_fp(stream_.get());
    }
    reading(const reading &) = delete;
    reading &operator=(const reading &) = delete;
    ~reading()
    {
        if (vorn_ != nullptr) vorn_reader_close(&vorn_);
    }
    struct vorn_reader *get() { return vorn_; }
    struct matrix *next()
    {
        vela_set_last_error(0);
        return vorn_reader_get_next_telemetry_vector(vorn_);
    }

private:
    text_stream stream_;
    struct vorn_reader *vorn_;
};

int result_of_opening(const std::string &text)
{
    reading reader(text);
    return vela_get_last_error();
}

}  // namespace

class VornReader : public test::InUtc {};
class VornReaderDeathTest : public test::InUtc {};

// --- vectors ---

TEST_F(VornReader, ReadsAVectorUnderItsHeader)
{
    reading reader(two_sensors + "20070101:00:00:01,45.5,1200\n");
    const struct matrix *const vector = reader.next();
    ASSERT_NE(vector, nullptr);
    EXPECT_EQ(matrix_get_type(vector), MATRIX_TYPE_TELEMETRY);
    EXPECT_EQ(matrix_get_number_rows(vector), 1u);
    EXPECT_EQ(vorn_reader_get_number_sensors(reader.get()), 2u);
    EXPECT_THAT(names_of(telemetry_matrix_get_sensors(vector)),
                ElementsAre("CPU0 Temp", "DISK0 READ"));
    EXPECT_EQ(seconds_of(vector, 0), new_year_2007 + 1);
    EXPECT_THAT(values_of(vector, 0), ElementsAre(45.5, 1200));
}

TEST_F(VornReader, KnowsItsSensorsBeforeTheFirstVector)
{
    reading reader(two_sensors);
    EXPECT_EQ(vorn_reader_get_number_sensors(reader.get()), 2u);
    EXPECT_THAT(names_of(vorn_reader_get_sensors(reader.get())),
                ElementsAre("CPU0 Temp", "DISK0 READ"));
    EXPECT_EQ(seconds_of(reader.get()->vector, 0), 0);
}

TEST_F(VornReader, FillsTheSameVectorAgainForEveryLine)
{
    reading reader(one_sensor + "20070101:00:00:01,1\n20070101:00:00:02,2\n");
    const struct matrix *const first = reader.next();
    const struct matrix *const second = reader.next();
    EXPECT_EQ(first, second);
    EXPECT_EQ(seconds_of(second, 0), new_year_2007 + 2);
    EXPECT_THAT(values_of(second, 0), ElementsAre(2));
}

TEST_F(VornReader, FollowsAHeaderInTheMiddle)
{
    reading reader(one_sensor +
                   "20070101:00:00:01,1\n"
                   "20070101:00:00:02,DISK,CPU\n"
                   "20070101:00:00:02,2,3\n");
    EXPECT_THAT(values_of(reader.next(), 0), ElementsAre(1));
    const struct matrix *const vector = reader.next();
    ASSERT_NE(vector, nullptr);
    EXPECT_THAT(names_of(telemetry_matrix_get_sensors(vector)),
                ElementsAre("DISK", "CPU"));
    EXPECT_THAT(values_of(vector, 0), ElementsAre(2, 3));
}

TEST_F(VornReader, FollowsTheLastOfSeveralHeaders)
{
    reading reader(one_sensor + two_sensors + one_sensor +
                   "20070101:00:00:01,7\n");
    EXPECT_THAT(values_of(reader.next(), 0), ElementsAre(7));
}

TEST_F(VornReader, KeepsASensorThatIsNamedTwice)
{
    reading reader("20070101:00:00:00,CPU,CPU\n20070101:00:00:01,1,2\n");
    EXPECT_THAT(values_of(reader.next(), 0), ElementsAre(1, 2));
}

TEST_F(VornReader, NarrowsValuesToSinglePrecision)
{
    reading reader(one_sensor + "20070101:00:00:01,0.1\n");
    EXPECT_THAT(values_of(reader.next(), 0),
                ElementsAre(static_cast<double>(0.1f)));
}

TEST_F(VornReader, ReadsTextForAValueAsZero)
{
    reading reader(two_sensors + "20070101:00:00:01,x,12abc\n");
    EXPECT_THAT(values_of(reader.next(), 0), ElementsAre(0, 12));
    EXPECT_EQ(vela_get_last_error(), 0);
}

TEST_F(VornReader, ReadsNanAsNoReading)
{
    reading reader(two_sensors + "20070101:00:00:01,nan,-nan\n");
    EXPECT_THAT(values_of(reader.next(), 0),
                ElementsAre(testing::IsNan(), testing::IsNan()));
}

// --- line ends and separators ---

TEST_F(VornReader, TakesACarriageReturnAtTheEndOfADataLine)
{
    reading reader(two_sensors + "20070101:00:00:01,45.5,1200\r\n");
    EXPECT_THAT(values_of(reader.next(), 0), ElementsAre(45.5, 1200));
}

TEST_F(VornReader, PassesOverEmptyFieldsOfADataLine)
{
    reading reader(two_sensors + ",20070101:00:00:01,,45.5,,1200,\n");
    EXPECT_THAT(values_of(reader.next(), 0), ElementsAre(45.5, 1200));
}

TEST_F(VornReader, TakesALastLineWithoutLineEnd)
{
    reading reader(one_sensor + "20070101:00:00:01,5");
    EXPECT_THAT(values_of(reader.next(), 0), ElementsAre(5));
    EXPECT_EQ(reader.next(), nullptr);
}

TEST_F(VornReader, TakesALastHeaderWithoutLineEnd)
{
    // The longer line before it must not shine through.
    reading reader(two_sensors + "20070101:00:00:01,45.5,1200\n" +
                   "20070101:00:00:02,DISK");
    ASSERT_NE(reader.next(), nullptr);
    EXPECT_EQ(reader.next(), nullptr);
    EXPECT_EQ(vela_get_last_error(), 0);
    EXPECT_THAT(names_of(vorn_reader_get_sensors(reader.get())),
                ElementsAre("DISK"));
}

TEST_F(VornReader, ReadsTheRestOfALongLineAsALine)
{
    const std::string time = "20070101:00:00:01,";
    const std::string filling(line_size - 1 - time.size(), '0');
    reading reader(one_sensor + time + filling + "20070101:00:00:02,7\n");
    const struct matrix *vector = reader.next();
    EXPECT_EQ(seconds_of(vector, 0), new_year_2007 + 1);
    EXPECT_THAT(values_of(vector, 0), ElementsAre(0));
    vector = reader.next();
    EXPECT_EQ(seconds_of(vector, 0), new_year_2007 + 2);
    EXPECT_THAT(values_of(vector, 0), ElementsAre(7));
}

TEST_F(VornReader, ReadsALineThatJustFitsWhole)
{
    const std::string time = "20070101:00:00:01,";
    const std::string filling(line_size - 3 - time.size(), '0');
    reading reader(one_sensor + time + filling + "8\n" +
                   "20070101:00:00:02,7\n");
    EXPECT_THAT(values_of(reader.next(), 0), ElementsAre(8));
    EXPECT_THAT(values_of(reader.next(), 0), ElementsAre(7));
}

TEST_F(VornReader, TakesAHeaderThatFillsTheWholeLine)
{
    const std::string time = "20070101:00:00:00,";
    const std::string name =
        "ps" + std::string(line_size - 1 - time.size() - 2, 'x');
    reading reader(time + name + "20070101:00:00:01,9\n");
    ASSERT_NE(reader.get(), nullptr);
    EXPECT_THAT(names_of(vorn_reader_get_sensors(reader.get())),
                ElementsAre(name));
    EXPECT_THAT(values_of(reader.next(), 0), ElementsAre(9));
}

// --- what is a header ---

class HeaderWord : public test::InUtcWithParam<const char *> {};

TEST_P(HeaderWord, MakesALineAHeader)
{
    const std::string name = std::string("~") + GetParam() + "~";
    reading reader("20070101:00:00:00," + name + "\n");
    ASSERT_NE(reader.get(), nullptr) << vela_get_last_error();
    EXPECT_THAT(names_of(vorn_reader_get_sensors(reader.get())),
                ElementsAre(name));
}

INSTANTIATE_TEST_SUITE_P(
    All, HeaderWord,
    testing::Values("SSC", "ssc", "SB", "sb", "Temp", "temp", "PS", "ps", "VDC",
                    "vdc", "N0", "n0", "CORE", "core", "CPU", "cpu", "DISK",
                    "disk", "READ", "read", "WRITE", "write", "IDLE", "idle",
                    "V_", "v_", "T_", "t_", "POWER", "power", "PACKET",
                    "packet"),
    [](const auto &row) { return std::string("Word") + row.param; });

struct other_line {
    const char *name;
    const char *line;
};
void PrintTo(const other_line &row, std::ostream *os)
{
    *os << row.name;
}

class FirstLine : public testing::TestWithParam<other_line> {};

TEST_P(FirstLine, IsRefusedWhenItIsNoHeader)
{
    EXPECT_EQ(result_of_opening(GetParam().line), KOR_ERR_INVALID_DATA);
}

constexpr other_line other_lines[] = {
    {"Empty", "\n"},
    {"TimeStampOnly", "20070101:00:00:00\n"},
    {"NumbersOnly", "20070101:00:00:00,1.5,-2,3/4\n"},
    {"NumbersWithoutLineEnd", "20070101:00:00:00,1.5"},
    {"NumberWithExponent", "20070101:00:00:00,1e5\n"},
    {"CarriageReturn", "20070101:00:00:00,1\r\n"},
    {"NameWithoutWord", "20070101:00:00:00,pressure\n"},
    {"Capitalised", "20070101:00:00:00,Cpu,Disk,Read,Idle,Power\n"},
    {"AllCapitals", "20070101:00:00:00,TEMP\n"},
    {"MixedCase", "20070101:00:00:00,Sb,pS,Vdc,sSC,Core,Packet\n"},
    {"WordsInPieces", "20070101:00:00:00,C,P,U,V,T,N1,S-B\n"},
    {"WordBeforeTheFirstLetterOnly", "20070101:00:00:00,0_0\n"},
    {"ColonsTooFarBeforeTheFirstLetter", "20070101:00:00:00,::1x\n"},
    {"OneColon", "20070101:00:00:00,:x\n"},
};
INSTANTIATE_TEST_SUITE_P(Table, FirstLine, testing::ValuesIn(other_lines),
                         [](const auto &row) { return row.param.name; });

TEST_F(VornReader, KnowsGenericNamesAsAHeader)
{
    reading reader(
        "20070101:00:00:00,::SENSOR0,::SENSOR1\n"
        "20070101:00:00:01,1,2\n");
    EXPECT_THAT(names_of(vorn_reader_get_sensors(reader.get())),
                ElementsAre("::SENSOR0", "::SENSOR1"));
    EXPECT_THAT(values_of(reader.next(), 0), ElementsAre(1, 2));
}

TEST_F(VornReader, KnowsTwoColonsBehindTheFirstLetterAsAHeader)
{
    reading reader("20070101:00:00:00,a,b::c\n");
    ASSERT_NE(reader.get(), nullptr);
    EXPECT_EQ(vorn_reader_get_number_sensors(reader.get()), 2u);
}

TEST_F(VornReader, TakesANumberThatIsAWordForAHeader)
{
    reading reader(one_sensor + "20070101:00:00:01,1,ps\n");
    EXPECT_EQ(reader.next(), nullptr);
    EXPECT_EQ(vela_get_last_error(), 0);
    EXPECT_THAT(names_of(vorn_reader_get_sensors(reader.get())),
                ElementsAre("1", "ps"));
}

// --- failures ---

TEST_F(VornReader, RefusesAnEmptyStream)
{
    EXPECT_EQ(result_of_opening(""), KOR_ERR_INCOMPLETE);
}

TEST_F(VornReader, LeavesTheLastErrorAloneAtTheEnd)
{
    reading reader(one_sensor);
    vela_set_last_error(KOR_ERR_FULL);
    EXPECT_EQ(vorn_reader_get_next_telemetry_vector(reader.get()), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_FULL);
    EXPECT_EQ(vorn_reader_get_next_telemetry_vector(reader.get()), nullptr);
}

struct refused_line {
    const char *name;
    const char *line;
    int code;
};
void PrintTo(const refused_line &row, std::ostream *os)
{
    *os << row.name;
}

class RefusedLine : public test::InUtcWithParam<refused_line> {};

TEST_P(RefusedLine, IsReportedAndReadingGoesOn)
{
    const refused_line &row = GetParam();
    reading reader(two_sensors + row.line + "\n20070101:00:00:09,1,2\n");
    EXPECT_EQ(reader.next(), nullptr);
    EXPECT_EQ(vela_get_last_error(), row.code);
    const struct matrix *const vector = reader.next();
    ASSERT_NE(vector, nullptr);
    EXPECT_EQ(seconds_of(vector, 0), new_year_2007 + 9);
    EXPECT_THAT(values_of(vector, 0), ElementsAre(1, 2));
}

constexpr refused_line refused_lines[] = {
    {"Blank", "", KOR_ERR_INVALID_DATA},
    {"SeparatorsOnly", ",,", KOR_ERR_INVALID_DATA},
    {"OneValueTooMany", "20070101:00:00:01,1,2,3", KOR_ERR_INVALID_DATA},
    {"MalformedTimeStamp", "2007010100:00:01,1,2", KOR_ERR_BAD_TIMESTAMP},
    {"NoTimeStamp", "1,2", KOR_ERR_BAD_TIMESTAMP},
    {"ImpossibleDay", "20070132:00:00:01,1,2", KOR_ERR_BAD_TIMESTAMP},
};
INSTANTIATE_TEST_SUITE_P(Table, RefusedLine, testing::ValuesIn(refused_lines),
                         [](const auto &row) { return row.param.name; });

TEST_F(VornReader, KeepsTheVectorWhenATimeStampIsMalformed)
{
    reading reader(one_sensor + "20070101:00:00:01,1\n2007,2\n");
    struct matrix *const vector = reader.next();
    EXPECT_EQ(reader.next(), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_BAD_TIMESTAMP);
    EXPECT_EQ(seconds_of(vector, 0), new_year_2007 + 1);
    EXPECT_THAT(values_of(vector, 0), ElementsAre(1));
}

TEST_F(VornReader, NamesNoVectorAfterAHeaderThatFoundNoMemory)
{
    reading reader(one_sensor + two_sensors);
    {
        test::failing_allocation first(0);
        EXPECT_EQ(reader.next(), nullptr);
        EXPECT_EQ(vela_get_last_error(), KOR_ERR_NO_MEMORY);
    }
    EXPECT_EQ(reader.get()->vector, nullptr);
}

TEST_F(VornReader, SurvivesEveryAllocationFailureWhileOpening)
{
    text_stream text(two_sensors);
    test::expect_every_allocation_failure_is_clean([&text] {
        std::rewind(text.get());
        vela_set_last_error(0);
        struct vorn_reader *vorn = vorn_reader_open_from_fp(text.get());
        if (vorn != nullptr) vorn_reader_close(&vorn);
        return vela_get_last_error();
    });
    EXPECT_EQ(_sensors.nsensors, 0u);
}

TEST_F(VornReader, SurvivesEveryAllocationFailureWhileReading)
{
    text_stream text("20070101:00:00:01,DISK,CPU\n20070101:00:00:01,1,2\n");
    text_stream first(one_sensor);
    test::expect_every_allocation_failure_is_clean([&] {
        std::rewind(first.get());
        std::rewind(text.get());
        struct vorn_reader *vorn = vorn_reader_open_from_fp(first.get());
        if (vorn == nullptr) return vela_get_last_error();
        vela_set_last_error(0);
        vorn->fp = text.get();
        vorn_reader_get_next_telemetry_vector(vorn);
        vorn_reader_close(&vorn);
        return vela_get_last_error();
    });
    EXPECT_EQ(_sensors.nsensors, 0u);
}

// --- streams and files ---

TEST_F(VornReader, LeavesTheStreamOfTheCallerOpen)
{
    text_stream text(one_sensor + "x");
    struct vorn_reader *vorn = vorn_reader_open_from_fp(text.get());
    ASSERT_NE(vorn, nullptr);
    EXPECT_EQ(vorn->close_fp, 0u);
    vorn_reader_close(&vorn);
    EXPECT_EQ(vorn, nullptr);
    EXPECT_EQ(std::fgetc(text.get()), 'x');
}

TEST_F(VornReader, LeavesTheStreamOfTheCallerOpenWhenItFails)
{
    text_stream text("no\nx");
    std::fseek(text.get(), 2, SEEK_SET);
    EXPECT_EQ(vorn_reader_open_from_fp(text.get()), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_INVALID_DATA);
    EXPECT_EQ(std::fgetc(text.get()), 'x');
}

class VornReaderFile : public test::InScratchFolder {
protected:
    // The descriptor that the next opened file would get.
    static int next_descriptor()
    {
        FILE *const fp = std::tmpfile();
        const int descriptor = fileno(fp);
        std::fclose(fp);
        return descriptor;
    }
};

TEST_F(VornReaderFile, IsOpenedAndClosedByTheReader)
{
    test::write_file("a.vorn", one_sensor);
    const int descriptor = next_descriptor();
    struct vorn_reader *vorn = vorn_reader_open("a.vorn");
    ASSERT_NE(vorn, nullptr);
    EXPECT_EQ(vorn->close_fp, 1u);
    EXPECT_NE(next_descriptor(), descriptor);
    vorn_reader_close(&vorn);
    EXPECT_EQ(next_descriptor(), descriptor);
}

TEST_F(VornReaderFile, IsClosedWhenItHoldsNoHeader)
{
    test::write_file("a.vorn", "\n");
    const int descriptor = next_descriptor();
    EXPECT_EQ(vorn_reader_open("a.vorn"), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_INVALID_DATA);
    EXPECT_EQ(next_descriptor(), descriptor);
}

TEST_F(VornReaderFile, IsRefusedWhenItIsEmpty)
{
    test::write_file("a.vorn", "");
    EXPECT_EQ(vorn_reader_open("a.vorn"), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_INCOMPLETE);
}

TEST_F(VornReaderFile, IsRefusedWhenItIsMissing)
{
    EXPECT_EQ(vorn_reader_open("a.vorn"), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_CANNOT_OPEN);
}

TEST_F(VornReaderFile, IsRefusedWhenItIsAFolder)
{
    EXPECT_EQ(vorn_reader_open("."), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_INCOMPLETE);
}

// --- bugs ---

TEST_F(VornReaderDeathTest, MissingArgumentsAbort)
{
    struct vorn_reader none = {};
    struct vorn_reader *null = nullptr;
    EXPECT_ABORTS_IN("vorn_reader_open", vorn_reader_open(NULL),
                     "filename != NULL");
    EXPECT_ABORTS_IN("vorn_reader_open_from_fp", vorn_reader_open_from_fp(NULL),
                     "fp != NULL");
    EXPECT_ABORTS(vorn_reader_get_next_telemetry_vector(NULL), "vorn != NULL");
    EXPECT_ABORTS(vorn_reader_get_next_telemetry_vector(&none),
                  "vorn->fp != NULL");
    EXPECT_ABORTS(vorn_reader_get_number_sensors(NULL), "vorn != NULL");
    EXPECT_ABORTS(vorn_reader_get_number_sensors(&none),
                  "vorn->vector != NULL");
    EXPECT_ABORTS(vorn_reader_get_sensors(NULL), "vorn != NULL");
    EXPECT_ABORTS(vorn_reader_get_sensors(&none), "vorn->vector != NULL");
    EXPECT_ABORTS(vorn_reader_close(NULL), "vorn != NULL");
    EXPECT_ABORTS(vorn_reader_close(&null), "*vorn != NULL");
}

TEST_F(VornReaderDeathTest, ReadingOnAfterALostHeaderAborts)
{
    reading reader(one_sensor + one_sensor + "20070101:00:00:01,1\n");
    {
        test::failing_allocation first(0);
        ASSERT_EQ(reader.next(), nullptr);
    }
    EXPECT_ABORTS_IN("vorn_reader_get_next_telemetry_vector", reader.next(),
                     "vorn->vector != NULL");
}

struct broken_text {
    const char *name;
    std::string text;
    const char *assertion;
};
void PrintTo(const broken_text &row, std::ostream *os)
{
    *os << row.name;
}

class BrokenTextDeathTest : public test::InUtcWithParam<broken_text> {};

TEST_P(BrokenTextDeathTest, Aborts)
{
    const broken_text &row = GetParam();
    EXPECT_DEATH(reading(row.text).next(),
                 testing::HasSubstr(std::string("Assertion `") + row.assertion +
                                    "' failed.\n"));
}

const broken_text broken_texts[] = {
    {"LetterFirst", "x\n", "p >= line + 18"},
    {"LetterBehindTheTimeStamp", "20070101:00:00:00 CPU\n", "p >= line + 18"},
    {"LetterInADataLine", one_sensor + "# note\n", "p >= line + 18"},
    {"BlankLineWithCarriageReturn", one_sensor + "\r\n", "p >= line + 18"},
    {"EmptyNameInside", "20070101:00:00:00,CPU,,DISK\n", "*p != '\\0'"},
    {"EmptyNameFirst", "20070101:00:00:00,,CPU\n", "*p != '\\0'"},
    {"HeaderWithCarriageReturn", "20070101:00:00:00,CPU\r\n", "*p == '\\0'"},
    {"HeaderWithLastComma", "20070101:00:00:00,CPU,\n", "*p == '\\0'"},
    {"HeaderWithoutSensors", "20070101:00:00:00:CPU\n", "ncols > 0"},
    {"TooFewValues", two_sensors + "20070101:00:00:01,1\n",
     "nvalues == nsensors"},
    {"NoValues", one_sensor + "20070101:00:00:01\n", "nvalues == nsensors"},
};
INSTANTIATE_TEST_SUITE_P(Table, BrokenTextDeathTest,
                         testing::ValuesIn(broken_texts),
                         [](const auto &row) { return row.param.name; });

TEST_F(VornReaderDeathTest, AReadErrorAborts)
{
    std::string text = one_sensor;
    FILE *const fp = test::open_failing_stream(&text);
    struct vorn_reader *vorn = vorn_reader_open_from_fp(fp);
    ASSERT_NE(vorn, nullptr);
    EXPECT_ABORTS_IN("vorn_reader_get_next_telemetry_vector",
                     vorn_reader_get_next_telemetry_vector(vorn),
                     "feof(vorn->fp)");
    vorn_reader_close(&vorn);
    std::fclose(fp);
}

TEST_F(VornReader, ReportsAReadErrorInTheFirstLineAsNoLine)
{
    std::string text;
    FILE *const fp = test::open_failing_stream(&text);
    EXPECT_EQ(vorn_reader_open_from_fp(fp), nullptr);
    EXPECT_EQ(vela_get_last_error(), KOR_ERR_INCOMPLETE);
    std::fclose(fp);
}
