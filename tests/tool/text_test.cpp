// Times and figures as they are read and shown.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "sound.hpp"
#include "times.hpp"

namespace {

using tool::zone;

class Times : public testing::Test {
protected:
    void SetUp() override
    {
        setenv("TZ", "XYZ-1", 1);  // one hour east
        tzset();
    }
};

struct time_row {
    const char *text;
    int64_t time;
};

TEST_F(Times, AreReadInEveryForm)
{
    constexpr int64_t now = 1'000'000;
    const time_row rows[] = {{"1970-01-01T00:00:00Z", 0},
                             {"1970-01-01T00:00:00", -3600},
                             {"1970-01-02", 86400 - 3600},
                             {"2000-02-29T12:00:00+02:00", 951818400},
                             {"1969-12-31T23:59:59Z", -1},
                             {"2016-12-31T23:59:60Z", 1483228800},
                             {"12345", 12345},
                             {"now", now},
                             {"-90", now - 90},
                             {"-2min", now - 120},
                             {"-1h", now - 3600},
                             {"-1d", now - 86400},
                             {"-1w", now - 604800}};
    for (const time_row &row : rows) {
        const auto time = tool::time_from_text(row.text, zone::local, now);
        ASSERT_TRUE(time) << row.text;
        EXPECT_EQ(*time, row.time) << row.text;
    }
}

TEST_F(Times, ThatAreMalformedAreRefused)
{
    for (const char *text :
         {"", "-", "x", "1970-1-1", "1970-02-29", "1970-00-01", "1970-01-32",
          "1970-01-01T", "1970-01-01T24:00:00", "1970-01-01T00:60:00",
          "1970-01-01T00:00:61", "1970-01-01T00:00:00ZZ",
          "1970-01-01T00:00:00+1:00", "12h", "-1x", "-99999999999999999w"}) {
        EXPECT_FALSE(tool::time_from_text(text, zone::utc, 0)) << text;
    }
}

TEST_F(Times, AreShownWithTheirZone)
{
    EXPECT_EQ(tool::to_text(int64_t{0}, zone::utc), "1970-01-01T00:00:00Z");
    EXPECT_EQ(tool::to_text(int64_t{0}, zone::local),
              "1970-01-01T01:00:00+01:00");
    EXPECT_EQ(tool::to_text(int64_t{-1}, zone::utc), "1969-12-31T23:59:59Z");
}

TEST_F(Times, OfTextTelemetryAreLocal)
{
    EXPECT_EQ(tool::stamp_from_text("19700101:01:00:01"), 1);
    EXPECT_EQ(tool::to_stamp(1), "19700101:01:00:01");
    EXPECT_EQ(tool::stamp_from_text("20380119:04:14:07"),
              std::numeric_limits<int32_t>::max());
    EXPECT_FALSE(tool::stamp_from_text("20380119:04:14:08"));
    EXPECT_FALSE(tool::stamp_from_text("19700101:01:00:00"));
    EXPECT_FALSE(tool::stamp_from_text("19700101:01:00:0"));
    EXPECT_FALSE(tool::stamp_from_text("19700101-01:00:01"));
}

TEST(Durations, AreShownInTwoUnits)
{
    EXPECT_EQ(tool::to_duration(59), "59 s");
    EXPECT_EQ(tool::to_duration(300), "5 min 0 s");
    EXPECT_EQ(tool::to_duration(12000), "3 h 20 min");
    EXPECT_EQ(tool::to_duration(200000), "2 d 7 h");
    EXPECT_EQ(tool::to_duration(-59), "-59 s");
}

hist_value summed(float reading, uint32_t count)
{
    hist_value hv = {};
    hv.version = HIST_VALUE_VERSION;
    hv.min = hv.max = hv.first = hv.last = reading;
    for (hv.count = 0; hv.count < count; hv.count++) hv.sum += reading;
    return hv;
}

TEST(Means, LieBetweenTheExtremesAndWithinTheirBound)
{
    const hist_value hv = summed(12.1F, 1'000'000);
    const auto naive = hv.sum / 1e6F;
    EXPECT_NE(naive, 12.1F);  // the plain quotient is off
    const auto mean = tool::mean_of(hv);
    ASSERT_TRUE(mean);
    EXPECT_FLOAT_EQ(static_cast<float>(mean->value), 12.1F);
    hist_value spread = hv;
    spread.min = 0;
    spread.max = 20;
    const auto wide = tool::mean_of(spread);
    ASSERT_TRUE(wide);
    EXPECT_LE(std::fabs(wide->value - 12.1), wide->error);
}

TEST(Means, AreNotMadeUp)
{
    EXPECT_FALSE(tool::mean_of(summed(1, 0)));
    hist_value hv = summed(1, 2);
    hv.sum = std::numeric_limits<float>::infinity();
    EXPECT_FALSE(tool::mean_of(hv));
}

TEST(Figures, ShowNoMoreDigitsThanAreSound)
{
    EXPECT_EQ(tool::to_text(tool::estimate{12.345678, 0}), "12.34568");
    EXPECT_EQ(tool::to_text(tool::estimate{12.345678, 0.002}), "12.35");
    EXPECT_EQ(tool::to_text(tool::estimate{12.345678, 50}), "1e+01");
    EXPECT_EQ(tool::to_text(tool::estimate{0, 1}), "0");
    EXPECT_EQ(tool::to_text(NAN), "n/a");
    EXPECT_EQ(tool::to_text(0.1F), "0.1");
}

}  // namespace
