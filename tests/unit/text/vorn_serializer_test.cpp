#include "vorn_serializer.h"

#include <algorithm>
#include <cfenv>
#include <cfloat>
#include <clocale>
#include <cmath>

#include "raw_writer.h"
#include "sensors.h"
#include "transposed_matrix.h"
#include "unit/text/text_support.hpp"
#include "vorn_reader.h"
#include "vorn_writer.h"
#include "zlib_writer.h"

using test::base_log;
using test::create_matrix;
using test::create_telemetry;
using test::names_of;
using test::new_year_2007;
using test::seconds_of;
using test::values_of;
using testing::ElementsAre;

namespace {

constexpr size_t line_size = 32768;    // what one line may take
constexpr size_t timestamp_size = 17;  // as text
constexpr size_t longest_name = 255;   // of which all is written

// The text of matrices written one after another.
class text_output {
public:
    text_output() : writer_(vorn_writer_create(test::create_base(log_))) {}
    text_output(const text_output &) = delete;
    text_output &operator=(const text_output &) = delete;
    ~text_output() { writer_destroy(&writer_); }
    struct writer *get() { return writer_; }
    test::memory_writer &base() { return log_.out; }
    const std::string &text() const { return log_.out.bytes(); }

    // Writes a matrix, destroys it, and returns what writing it returned.
    int write(struct matrix *m)
    {
        const int result = vorn_serializer_write_matrix(m, writer_);
        matrix_destroy(&m);
        return result;
    }

private:
    base_log log_;
    struct writer *writer_;
};

std::string text_of(struct matrix *m)
{
    text_output out;
    const int nbytes = out.write(m);
    EXPECT_EQ(static_cast<size_t>(nbytes), out.text().size());
    return out.text();
}

std::string text_of_value(double value)
{
    const std::string text = text_of(create_telemetry({"x"}, 0, {{value}}));
    const std::string before = "19700101:00:00:00,x\n19700101:00:00:00,";
    EXPECT_EQ(text.substr(0, before.size()), before);
    return text.substr(before.size());
}

}  // namespace

class VornSerializer : public test::InUtc {};
class VornSerializerDeathTest : public test::InUtc {};

// --- telemetry ---

TEST_F(VornSerializer, WritesAHeaderAndARow)
{
    EXPECT_EQ(text_of(create_telemetry({"CPU0 Temp", "DISK0 READ"},
                                       new_year_2007 + 1, {{45.5, 1200}})),
              "20070101:00:00:01,CPU0 Temp,DISK0 READ\n"
              "20070101:00:00:01,45.500,1200.000\n");
}

TEST_F(VornSerializer, WritesTheHeaderOnceForTheSameSensors)
{
    text_output out;
    struct matrix *vector =
        create_telemetry({"a", "b"}, new_year_2007, {{1, 2}});
    EXPECT_EQ(vorn_serializer_write_matrix(vector, out.get()), 22 + 30);
    EXPECT_EQ(out.write(vector), 30);
    EXPECT_EQ(out.text(),
              "20070101:00:00:00,a,b\n"
              "20070101:00:00:00,1.000,2.000\n"
              "20070101:00:00:00,1.000,2.000\n");
}

TEST_F(VornSerializer, WritesEachLineAndAnEmptyHeaderWithOneCall)
{
    text_output out;
    out.write(create_telemetry({"a"}, 0, {{1}, {2}}));
    EXPECT_EQ(out.base().calls(), 3);
    out.write(create_telemetry({"a"}, 0, {{3}, {4}}));
    EXPECT_EQ(out.base().calls(), 6);
}

TEST_F(VornSerializer, StampsEachRowWithItsOwnTime)
{
    EXPECT_EQ(
        text_of(create_telemetry({"a"}, new_year_2007 + 58, {{1}, {2}, {3}})),
        "20070101:00:00:58,a\n"
        "20070101:00:00:58,1.000\n"
        "20070101:00:00:59,2.000\n"
        "20070101:00:01:00,3.000\n");
}

TEST_F(VornSerializer, WritesLocalTime)
{
    setenv("TZ", "XYZ-02:30", 1);
    tzset();
    EXPECT_EQ(text_of(create_telemetry({"a"}, new_year_2007, {{1}})),
              "20070101:02:30:00,a\n"
              "20070101:02:30:00,1.000\n");
}

TEST_F(VornSerializer, NamesTheSensorsAgainWheneverTheyChange)
{
    text_output out;
    out.write(create_telemetry({"a", "b"}, 0, {{1, 2}}));
    out.write(create_telemetry({"b", "a"}, 1, {{3, 4}}));
    out.write(create_telemetry({"b"}, 2, {{5}}));
    EXPECT_EQ(out.text(),
              "19700101:00:00:00,a,b\n"
              "19700101:00:00:00,1.000,2.000\n"
              "19700101:00:00:01,b,a\n"
              "19700101:00:00:01,3.000,4.000\n"
              "19700101:00:00:02,b\n"
              "19700101:00:00:02,5.000\n");
}

TEST_F(VornSerializer, LeavesTheMatrixAsItWas)
{
    text_output out;
    struct matrix *const m = create_telemetry({"a"}, 5, {{1}, {2}});
    vorn_serializer_write_matrix(m, out.get());
    EXPECT_EQ(matrix_get_type(m), MATRIX_TYPE_TELEMETRY);
    EXPECT_EQ(seconds_of(m, 1), 6);
    EXPECT_THAT(values_of(m, 1), ElementsAre(2));
    out.write(m);
}

TEST_F(VornSerializer, AllocatesNothingForALineOnceTheHeaderIsOut)
{
    text_output out;
    struct matrix *const m =
        create_telemetry({"a", "b"}, 0, {{1, 2}, {3, 4}, {5, 6}});
    vorn_serializer_write_matrix(m, out.get());
    {
        const test::allocation_count blocks;
        vorn_serializer_write_matrix(m, out.get());
        EXPECT_EQ(blocks.total(), 0);
    }
    out.write(m);
}

// --- values and names ---

struct value_text {
    const char *name;
    double value;
    const char *text;
};
void PrintTo(const value_text &row, std::ostream *os)
{
    *os << row.name;
}

class ValueText : public test::InUtcWithParam<value_text> {};

TEST_P(ValueText, HasThreeDecimals)
{
    EXPECT_EQ(text_of_value(GetParam().value),
              std::string(GetParam().text) + "\n");
}

constexpr value_text value_texts[] = {
    {"Zero", 0.0, "0.000"},
    {"NegativeZero", -0.0, "-0.000"},
    {"RoundsToNegativeZero", -0.0004, "-0.000"},
    {"HalfAThousandth", 0.0005, "0.001"},
    {"HalfToEvenDown", 0.0625, "0.062"},
    {"HalfToEvenUp", 0.1875, "0.188"},
    {"BelowHalfInBinary", 1.0005, "1.000"},
    {"AboveHalfInBinary", 1.0015, "1.002"},
    {"CarriesIntoTheInteger", 9.9996, "10.000"},
    {"Negative", -12.5, "-12.500"},
    {"Large", 1e15, "1000000000000000.000"},
    {"LargestExactInteger", 9007199254740993.0, "9007199254740992.000"},
    {"LargestWithDecimals", 4503599627370495.5, "4503599627370495.500"},
    {"BeyondExactIntegers", 1e22, "10000000000000000000000.000"},
    {"Tiny", 5e-324, "0.000"},
    {"Infinite", HUGE_VAL, "inf"},
    {"NegativeInfinite", -HUGE_VAL, "-inf"},
};
INSTANTIATE_TEST_SUITE_P(Table, ValueText, testing::ValuesIn(value_texts),
                         [](const auto &row) { return row.param.name; });

// Writes all values in one row and compares it with what printf makes of them.
static void expect_text_of_printf(const std::vector<double> &values)
{
    std::string expected = "19700101:00:00:00";
    for (const double value : values) {
        char text[400];
        std::snprintf(text, sizeof text, ",%.3lf", value);
        expected += text;
    }
    const std::vector<std::string> names(values.size(), "x");
    const std::string text = text_of(create_telemetry(names, 0, {values}));
    EXPECT_EQ(text.substr(text.find('\n') + 1), expected + "\n");
}

TEST_F(VornSerializer, WritesNumbersOfAnySizeAsPrintfDoes)
{
    uint64_t bits = 88172645463325252u;
    for (int power = -80; power < 80; ++power) {
        SCOPED_TRACE(power);
        std::vector<double> values;
        for (int i = 0; i < 100; ++i) {
            bits ^= bits << 13;
            bits ^= bits >> 7;
            bits ^= bits << 17;
            const auto mantissa = static_cast<double>(bits >> 11);
            values.push_back(std::ldexp(mantissa, power - 52));
            values.push_back(-values.back());
        }
        expect_text_of_printf(values);
    }
}

TEST_F(VornSerializer, WritesNumbersInTheMiddleAsPrintfDoes)
{
    std::vector<double> values;
    for (int i = -1600; i < 1600; ++i) {
        const double middle = i / 16.0;
        values.push_back(std::nextafter(middle, -HUGE_VAL));
        values.push_back(middle);
        values.push_back(std::nextafter(middle, HUGE_VAL));
        if (values.size() < 300) continue;
        expect_text_of_printf(values);
        values.clear();
    }
}

TEST_F(VornSerializer, WritesNumbersAtTheEndsOfTheRangeAsPrintfDoes)
{
    const double last_odd = 9007199254740991.0;  // 2^53 - 1
    expect_text_of_printf({last_odd, last_odd + 1, last_odd + 3, -last_odd,
                           last_odd / 2, last_odd / 4, last_odd / 1024, DBL_MIN,
                           DBL_MIN / 2, -DBL_MIN, DBL_MAX});
}

TEST_F(VornSerializer, FollowsARoundingThatTheProgramChose)
{
    for (const int rounding : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
        SCOPED_TRACE(rounding);
        std::fesetround(rounding);
        expect_text_of_printf({0.0001, -0.0001, 1.0625, 2.9999});
        std::fesetround(FE_TONEAREST);
    }
}

TEST_F(VornSerializer, FollowsADecimalPointThatTheProgramChose)
{
    // Any locale with a comma will do; a machine may have none of them.
    for (const char *name : {"de_DE.UTF-8", "fr_FR.UTF-8", "C"}) {
        if (std::setlocale(LC_NUMERIC, name) == nullptr) continue;
        expect_text_of_printf({1.5, -0.001});
        std::setlocale(LC_NUMERIC, "C");
    }
}

TEST_F(VornSerializer, WritesTheLargestNumberInFull)
{
    char expected[400];
    std::snprintf(expected, sizeof expected, "%.3lf\n", -DBL_MAX);
    ASSERT_EQ(std::strlen(expected), 315u);
    EXPECT_EQ(text_of_value(-DBL_MAX), expected);
}

TEST_F(VornSerializer, WritesNoReadingAsNan)
{
    EXPECT_EQ(text_of_value(std::copysign(NAN, 1.0)), "nan\n");
    EXPECT_EQ(text_of_value(std::copysign(NAN, -1.0)), "-nan\n");
}

TEST_F(VornSerializer, CutsNamesBehind255Characters)
{
    const std::string fits(longest_name, 'x');
    const std::string too_long(longest_name + 1, 'y');
    const std::string far_too_long(1000, 'z');
    const std::string text = text_of(
        create_telemetry({fits, too_long, far_too_long}, 0, {{1, 2, 3}}));
    EXPECT_EQ(text.substr(0, text.find('\n')),
              "19700101:00:00:00," + fits + "," +
                  std::string(longest_name, 'y') + "," +
                  std::string(longest_name, 'z'));
}

// --- plain matrices ---

TEST_F(VornSerializer, WritesAPlainMatrixUnderGenericNamesAndTimes)
{
    EXPECT_EQ(text_of(create_matrix({{1, 2, 3}, {4, 5, 6}})),
              "20070101:00:00:00,::SENSOR0,::SENSOR1,::SENSOR2\n"
              "20070101:00:00:00,1.000,2.000,3.000\n"
              "20070101:00:00:01,4.000,5.000,6.000\n");
}

TEST_F(VornSerializer, BeginsGenericTimesInLocalTime)
{
    setenv("TZ", "XYZ-02:30", 1);
    tzset();
    EXPECT_EQ(text_of(create_matrix({{1}})),
              "20070101:00:00:00,::SENSOR0\n"
              "20070101:00:00:00,1.000\n");
}

TEST_F(VornSerializer, LeavesAPlainMatrixToItsOwner)
{
    text_output out;
    struct matrix *const m = create_matrix({{1, 2}});
    vorn_serializer_write_matrix(m, out.get());
    EXPECT_EQ(matrix_get_type(m), MATRIX_TYPE_REGULAR);
    EXPECT_THAT(values_of(m, 0), ElementsAre(1, 2));
    EXPECT_EQ(out.write(m), 30);
}

TEST_F(VornSerializer, WritesATransposedMatrixAsItLooks)
{
    EXPECT_EQ(text_of(transposed_matrix_create(create_matrix({{1, 2, 3}}))),
              "20070101:00:00:00,::SENSOR0\n"
              "20070101:00:00:00,1.000\n"
              "20070101:00:00:01,2.000\n"
              "20070101:00:00:02,3.000\n");
}

TEST_F(VornSerializer, MakesATransposedMatrixRegular)
{
    text_output out;
    struct matrix *const m =
        transposed_matrix_create(create_matrix({{1}, {2}}));
    vorn_serializer_write_matrix(m, out.get());
    EXPECT_EQ(matrix_get_type(m), MATRIX_TYPE_REGULAR);
    EXPECT_THAT(values_of(m, 0), ElementsAre(1, 2));
    out.write(m);
}

TEST_F(VornSerializer, NamesTheSensorsAgainForAPlainMatrixAfterTelemetry)
{
    text_output out;
    out.write(create_telemetry({"a", "b"}, 0, {{1, 2}}));
    out.write(create_matrix({{3, 4}}));
    out.write(create_matrix({{5, 6}}));
    EXPECT_EQ(out.text(),
              "19700101:00:00:00,a,b\n"
              "19700101:00:00:00,1.000,2.000\n"
              "20070101:00:00:00,::SENSOR0,::SENSOR1\n"
              "20070101:00:00:00,3.000,4.000\n"
              "20070101:00:00:00,5.000,6.000\n");
}

// --- through to the reader ---

TEST_F(VornSerializer, IsReadBackByTheReader)
{
    text_output out;
    out.write(create_telemetry({"CPU 0", "DISK 1"}, new_year_2007 + 7,
                               {{1.23456, -7}, {NAN, 1e6}}));
    out.write(create_matrix({{0.5}}));
    test::text_stream text(out.text());
    struct vorn_reader *vorn = vorn_reader_open_from_fp(text.get());
    ASSERT_NE(vorn, nullptr);

    struct matrix *vector = vorn_reader_get_next_telemetry_vector(vorn);
    EXPECT_THAT(names_of(telemetry_matrix_get_sensors(vector)),
                ElementsAre("CPU 0", "DISK 1"));
    EXPECT_EQ(seconds_of(vector, 0), new_year_2007 + 7);
    EXPECT_THAT(values_of(vector, 0),
                ElementsAre(static_cast<double>(1.235f), -7));
    vector = vorn_reader_get_next_telemetry_vector(vorn);
    EXPECT_EQ(seconds_of(vector, 0), new_year_2007 + 8);
    EXPECT_THAT(values_of(vector, 0), ElementsAre(testing::IsNan(), 1e6));

    vector = vorn_reader_get_next_telemetry_vector(vorn);
    EXPECT_THAT(names_of(telemetry_matrix_get_sensors(vector)),
                ElementsAre("::SENSOR0"));
    EXPECT_EQ(seconds_of(vector, 0), new_year_2007);
    EXPECT_THAT(values_of(vector, 0), ElementsAre(0.5));
    EXPECT_EQ(vorn_reader_get_next_telemetry_vector(vorn), nullptr);
    vorn_reader_close(&vorn);
}

class VornSerializerFile : public test::InScratchFolder {};

TEST_F(VornSerializerFile, IsWrittenThroughAnyBaseWriter)
{
    setenv("TZ", "UTC0", 1);
    tzset();
    FILE *const fp = std::fopen("a.vorn.z", "w");
    struct writer *writer =
        vorn_writer_create(zlib_writer_create(raw_writer_create(fp, 0)));
    ASSERT_NE(writer, nullptr);
    struct matrix *m = create_telemetry({"a"}, 0, {{1}});
    EXPECT_GE(vorn_serializer_write_matrix(m, writer), 0);
    matrix_destroy(&m);
    writer_destroy(&writer);
    EXPECT_EQ(test::inflate_file("a.vorn.z"),
              "19700101:00:00:00,a\n19700101:00:00:00,1.000\n");
}

// --- failures ---

TEST_F(VornSerializer, StopsAtTheLineThatCannotBeWritten)
{
    for (int lines = 0; lines < 3; ++lines) {
        SCOPED_TRACE(lines);
        text_output out;
        out.base().fail_after(lines, KOR_ERR_DEFLATE);
        EXPECT_EQ(out.write(create_telemetry({"a"}, 0, {{1}, {2}, {3}})),
                  KOR_ERR_DEFLATE);
        EXPECT_EQ(std::count(out.text().begin(), out.text().end(), '\n'),
                  lines);
        EXPECT_EQ(out.base().calls(), lines + 1);
    }
}

TEST_F(VornSerializer, ReturnsTheCodeOfAPlainMatrixThatCannotBeWritten)
{
    text_output out;
    out.base().fail_after(1, KOR_ERR_INFLATE);
    EXPECT_EQ(out.write(create_matrix({{1}})), KOR_ERR_INFLATE);
    EXPECT_EQ(out.text(), "20070101:00:00:00,::SENSOR0\n");
}

// Writes what `make` makes with each allocation of the writing failing.
static void expect_clean_failures(struct matrix *(*make)())
{
    test::expect_every_allocation_failure_is_clean([make] {
        base_log log;
        struct writer *base = test::create_base(log);
        if (base == nullptr) return int{KOR_ERR_NO_MEMORY};
        struct writer *writer = vorn_writer_create(base);
        if (writer == nullptr) {
            writer_destroy(&base);
            return int{KOR_ERR_NO_MEMORY};
        }
        struct matrix *m = make();
        int result = KOR_ERR_NO_MEMORY;
        if (m != nullptr) {
            result = vorn_serializer_write_matrix(m, writer);
            matrix_destroy(&m);
        }
        writer_destroy(&writer);
        return result > 0 ? int{KOR_OK} : result;
    });
    EXPECT_EQ(_sensors.nsensors, 0u);
}

TEST_F(VornSerializer, SurvivesEveryAllocationFailureOfAPlainMatrix)
{
    expect_clean_failures([] { return create_matrix({{1, 2}, {3, 4}}); });
}

TEST_F(VornSerializer, SurvivesEveryAllocationFailureOfATransposedMatrix)
{
    expect_clean_failures([]() -> struct matrix * {
        struct matrix *viewed = create_matrix({{1, 2}});
        if (viewed == nullptr) return nullptr;
        struct matrix *const m = transposed_matrix_create(viewed);
        if (m == nullptr) matrix_destroy(&viewed);
        return m;
    });
}

TEST_F(VornSerializer, ReportsThatTelemetryFoundNoMemoryForItsSensors)
{
    text_output out;
    struct matrix *const m = create_telemetry({"a"}, 0, {{1}});
    {
        test::failing_allocation first(0);
        EXPECT_EQ(vorn_serializer_write_matrix(m, out.get()),
                  KOR_ERR_NO_MEMORY);
    }
    EXPECT_EQ(out.text(), "");
    EXPECT_GT(out.write(m), 0);
}

// --- long lines ---

// A vector whose one row takes exactly `size` bytes with its line end.
static struct matrix *create_row_of(size_t size)
{
    // ",1.000" for each column, and one value that fills up the rest.
    const size_t room = size - timestamp_size - 1;
    const size_t ncols = room / 6;
    std::vector<double> values(ncols, 1);
    values[0] = std::pow(10.0, static_cast<double>(room % 6));
    return create_telemetry(std::vector<std::string>(ncols, "x"), 0, {values});
}

// A vector whose header takes exactly `size` bytes with its line end.
static struct matrix *create_header_of(size_t size)
{
    size_t room = size - timestamp_size - 1;
    std::vector<std::string> names;
    while (room > longest_name + 1) {
        names.emplace_back(longest_name, 'x');
        room -= longest_name + 1;
    }
    names.emplace_back(room - 1, 'y');
    const std::vector<double> values(names.size(), 1);
    return create_telemetry(names, 0, {values});
}

TEST_F(VornSerializer, WritesARowThatFillsTheWholeLine)
{
    text_output out;
    out.write(create_row_of(line_size));
    const size_t header = out.text().find('\n') + 1;
    EXPECT_EQ(out.text().size() - header, line_size);
    EXPECT_EQ(out.text().substr(out.text().size() - 7), ",1.000\n");
}

TEST_F(VornSerializer, WritesAHeaderThatFillsTheWholeLine)
{
    text_output out;
    out.write(create_header_of(line_size));
    const size_t header = out.text().find('\n') + 1;
    EXPECT_EQ(header, line_size);
    EXPECT_EQ(out.text().substr(line_size - 3, 3), "yy\n");
}

TEST_F(VornSerializerDeathTest, ALineOfOneByteMoreAborts)
{
    text_output out;
    struct matrix *row = create_row_of(line_size + 1);
    struct matrix *header = create_header_of(line_size + 1);
    EXPECT_ABORTS(vorn_serializer_write_matrix(row, out.get()),
                  "nbytes <= sizeof(line)");
    EXPECT_ABORTS(vorn_serializer_write_matrix(header, out.get()),
                  "nbytes <= sizeof(line)");
    matrix_destroy(&row);
    matrix_destroy(&header);
}

TEST_F(VornSerializerDeathTest, AMuchLongerLineAborts)
{
    text_output out;
    struct matrix *m = create_matrix({std::vector<double>(10000, 1)});
    EXPECT_ABORTS(vorn_serializer_write_matrix(m, out.get()),
                  "nbytes <= sizeof(line)");
    matrix_destroy(&m);
}

// --- bugs ---

TEST_F(VornSerializerDeathTest, WrongArgumentsAbort)
{
    text_output out;
    test::memory_writer raw;
    struct matrix *m = create_matrix({{1}});
    struct matrix *telemetry = create_telemetry({"a"}, 0, {{1}});
    struct matrix *null = matrix_create_null();
    struct matrix unknown = *m;
    unknown.type = MATRIX_TYPE_TELEMETRY + 1;

    EXPECT_ABORTS_IN("vorn_serializer_write_matrix",
                     vorn_serializer_write_matrix(NULL, out.get()),
                     "m != NULL");
    EXPECT_ABORTS(vorn_serializer_write_matrix(null, out.get()), "m->type > 0");
    EXPECT_ABORTS(vorn_serializer_write_matrix(m, NULL), "writer != NULL");
    EXPECT_ABORTS(vorn_serializer_write_matrix(&unknown, out.get()),
                  "m->type <= MATRIX_TYPE_TELEMETRY");
    EXPECT_ABORTS(vorn_serializer_write_matrix(m, raw.get()),
                  "writer->type == WRITER_TYPE_VORN");
    EXPECT_ABORTS(vorn_serializer_write_matrix(telemetry, raw.get()),
                  "writer->type == WRITER_TYPE_VORN");
    matrix_destroy(&m);
    matrix_destroy(&telemetry);
    matrix_destroy(&null);
}

TEST_F(VornSerializerDeathTest, ABrokenTelemetryBodyAborts)
{
    text_output out;
    struct matrix *m = create_telemetry({"a"}, 0, {{1}});
    const auto whole = *static_cast<struct telemetry_matrix_body *>(m->matrix);
    struct telemetry_matrix_body body = whole;
    struct matrix broken = *m;
    broken.matrix = &body;
    body.version = 0;
    EXPECT_ABORTS(vorn_serializer_write_matrix(&broken, out.get()),
                  "m->version > 0");
    body = whole;
    body.sensors = nullptr;
    EXPECT_ABORTS(vorn_serializer_write_matrix(&broken, out.get()),
                  "m->sensors != NULL");
    body = whole;
    body.timestamps = nullptr;
    EXPECT_ABORTS(vorn_serializer_write_matrix(&broken, out.get()),
                  "m->timestamps != NULL");
    body = whole;
    body.matrix = nullptr;
    EXPECT_ABORTS(vorn_serializer_write_matrix(&broken, out.get()),
                  "m->matrix != NULL");

    struct sensor_array no_sensors;
    sensor_array_init_null(&no_sensors);
    body = whole;
    body.sensors = &no_sensors;
    EXPECT_ABORTS(vorn_serializer_write_matrix(&broken, out.get()),
                  "sensors != NULL");
    struct timestamp_array no_times;
    timestamp_array_init_null(&no_times);
    body = whole;
    body.timestamps = &no_times;
    EXPECT_ABORTS(vorn_serializer_write_matrix(&broken, out.get()),
                  "timestamps != NULL");
    matrix_destroy(&m);
}
