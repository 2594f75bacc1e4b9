// What the machine's figures come to, over a made-up /proc and /sys.
#include "machine.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;

class Machine : public testing::Test {
protected:
    Machine()
        : root_(fs::temp_directory_path() /
                ("kor-machine-" + std::to_string(getpid())))
    {
        fs::create_directories(root_);
    }
    ~Machine() override { fs::remove_all(root_); }

    void put(const std::string &path, const std::string &content)
    {
        const fs::path file = root_ / path;
        fs::create_directories(file.parent_path());
        std::ofstream(file) << content;
    }

    float reading(const tool::machine &m, const std::string &name)
    {
        const auto &names = m.names();
        const auto found = std::find(names.begin(), names.end(), name);
        EXPECT_NE(found, names.end()) << name;
        if (found == names.end()) return NAN;
        return m.values()[static_cast<size_t>(found - names.begin())];
    }

    fs::path root_;
};

TEST_F(Machine, SharesOfProcessorTimeComeFromTheTicksBetweenSamples)
{
    put("proc/stat",
        "cpu 100 0 50 800 50 0 0 0\ncpu0 100 0 50 800 50 0 0 0\n"
        "ctxt 1000\n");
    tool::machine m(root_, 10);
    put("proc/stat",
        "cpu 130 0 60 850 60 0 0 0\ncpu0 130 0 60 850 60 0 0 0\n"
        "ctxt 1500\n");
    m.sample(12);
    EXPECT_FLOAT_EQ(reading(m, "CPU USER"), 30);
    EXPECT_FLOAT_EQ(reading(m, "CPU SYSTEM"), 10);
    EXPECT_FLOAT_EQ(reading(m, "CPU IDLE"), 50);
    EXPECT_FLOAT_EQ(reading(m, "CPU WAIT"), 10);
    EXPECT_FLOAT_EQ(reading(m, "CPU BUSY"), 40);
    EXPECT_FLOAT_EQ(reading(m, "CPU0 BUSY"), 40);
    EXPECT_FLOAT_EQ(reading(m, "CPU SWITCHES"), 250);
}

TEST_F(Machine, LevelsAreReadAsTheyAre)
{
    put("proc/meminfo", "MemAvailable:    2048 kB\nDirty:   512 kB\n");
    tool::machine m(root_, 0);
    m.sample(1);
    EXPECT_FLOAT_EQ(reading(m, "CORE AVAILABLE MB"), 2);
    EXPECT_FLOAT_EQ(reading(m, "CORE DIRTY MB"), 0.5F);
}

TEST_F(Machine, DisksAndNetworksCountPerSecond)
{
    put("sys/block/sda/device/model", "disk");
    put("sys/block/loop0/stat", "9 9 9 9 9 9 9 9 9 9 9");
    put("sys/block/sda/stat", "10 0 80 0 5 0 16 0 0 100 0");
    put("sys/class/net/eth0/device/vendor", "card");
    put("sys/class/net/eth0/statistics/rx_bytes", "1024");
    put("sys/class/net/eth0/statistics/tx_packets", "7");
    tool::machine m(root_, 100);
    put("sys/block/sda/stat", "30 0 120 0 5 0 24 0 0 1100 0");
    put("sys/class/net/eth0/statistics/rx_bytes", "5120");
    put("sys/class/net/eth0/statistics/tx_packets", "27");
    m.sample(102);
    EXPECT_FLOAT_EQ(reading(m, "DISK sda READS"), 10);
    EXPECT_FLOAT_EQ(reading(m, "DISK sda READ KB"), 10);
    EXPECT_FLOAT_EQ(reading(m, "DISK sda WRITE KB"), 2);
    EXPECT_FLOAT_EQ(reading(m, "DISK sda BUSY"), 50);
    EXPECT_FLOAT_EQ(reading(m, "NET eth0 READ KB"), 2);
    EXPECT_FLOAT_EQ(reading(m, "NET eth0 PACKETS OUT"), 10);
    for (const std::string &name : m.names()) {
        EXPECT_EQ(name.find("loop"), std::string::npos) << name;
    }
}

TEST_F(Machine, ChipsOfferTemperaturesVoltagesAndFans)
{
    put("sys/class/hwmon/hwmon0/name", "board\n");
    put("sys/class/hwmon/hwmon0/temp1_input", "45500\n");
    put("sys/class/hwmon/hwmon0/temp1_label", "Core, 0\n");
    put("sys/class/hwmon/hwmon0/in2_input", "3310\n");
    put("sys/class/hwmon/hwmon0/fan1_input", "1200\n");
    put("sys/class/hwmon/hwmon0/power1_input", "2500000\n");
    put("sys/class/hwmon/hwmon0/humidity1_input", "1\n");
    put("sys/class/thermal/thermal_zone0/type", "soc\n");
    put("sys/class/thermal/thermal_zone0/temp", "51000\n");
    tool::machine m(root_, 0);
    m.sample(1);
    EXPECT_FLOAT_EQ(reading(m, "Temp board Core_ 0"), 45.5F);
    EXPECT_FLOAT_EQ(reading(m, "V_board in2"), 3.31F);
    EXPECT_FLOAT_EQ(reading(m, "PS FAN board fan1"), 1200);
    EXPECT_FLOAT_EQ(reading(m, "POWER board power1"), 2.5F);
    EXPECT_FLOAT_EQ(reading(m, "Temp thermal_zone0 soc"), 51);
}

TEST_F(Machine, CountersThatRunBackOrAreNewReadAsMissing)
{
    put("proc/stat", "ctxt 1000\n");
    tool::machine m(root_, 0);
    put("proc/stat", "ctxt 10\nprocesses 5\n");
    m.sample(1);
    EXPECT_TRUE(std::isnan(reading(m, "CPU SWITCHES")));
    EXPECT_TRUE(std::isnan(reading(m, "CPU FORKS")));
    put("proc/stat", "ctxt 12\nprocesses 8\n");
    m.sample(2);
    EXPECT_FLOAT_EQ(reading(m, "CPU SWITCHES"), 2);
    EXPECT_FLOAT_EQ(reading(m, "CPU FORKS"), 3);
}

TEST_F(Machine, HardwareMayComeAndGo)
{
    put("sys/class/hwmon/hwmon0/name", "board\n");
    put("sys/class/hwmon/hwmon0/temp1_input", "1000\n");
    tool::machine m(root_, 0);
    m.sample(1);
    const size_t with_board = m.names().size();
    fs::remove_all(root_ / "sys");
    m.sample(2);
    EXPECT_EQ(m.names().size(), with_board - 1);
    EXPECT_EQ(m.values().size(), m.names().size());
}

TEST_F(Machine, EveryNameFitsTextTelemetry)
{
    tool::machine m("", 0);  // the machine of the test itself
    m.sample(1);
    EXPECT_GE(m.names().size(), 10u);
    for (const std::string &name : m.names()) {
        EXPECT_EQ(name, tool::printable_name(name));
        EXPECT_LE(name.size(), 255u);
    }
}

}  // namespace
