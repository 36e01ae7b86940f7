// Loading while a recording plays: the stream sees the old recording or the new one, never a mixture and
// never an array that has been released.
#include "recording_support.h"

#include "signal/file_playback.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

namespace {

using zeka::test::TempFile;

std::string Constant(double value, int count)
{
    std::string content = "1000\n" + std::to_string(count) + "\n";
    for (int i = 0; i < count; ++i)
        content += std::to_string(value) + "\n";
    return content;
}

TEST(Swap, AReaderUnderTheLockSeesOneWholeRecording)
{
    const TempFile low(Constant(-1.0, 50));
    const TempFile high(Constant(2.0, 5000));
    ASSERT_EQ(LoadECGtxtSingle(low.Path().c_str()), 50);
    std::atomic<bool> done = false;
    std::atomic<bool> mixed = false;
    std::thread stream([&] {
        while (!done) {
            const CAutoCriticalSection lock(g_CriticalSection);
            const double expected = ECGFileSize == 50 ? -1.0 : 2.0;
            for (int i = 0; i < 700; ++i)
                if (zeka::FileVoltageAt(i / 140.0) != expected) // up to 5 s: the whole of the long one
                    mixed = true;
        }
    });
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(LoadECGtxtSingle(high.Path().c_str()), 5000);
        ASSERT_EQ(LoadECGtxtSingle(low.Path().c_str()), 50);
    }
    done = true;
    stream.join();
    EXPECT_FALSE(mixed);
}

TEST(Swap, LoadersThatRunAtOnceLeaveOneWholeRecording)
{
    // Two loaders and a raw load at once: whoever comes last owns the recording, and its parts belong
    // together.
    const TempFile low(Constant(-1.0, 500));
    const TempFile high(Constant(2.0, 800));
    const auto load = [](const TempFile& file) {
        for (int i = 0; i < 50; ++i)
            (void)LoadECGtxtSingle(file.Path().c_str());
    };
    std::thread first(load, std::cref(low));
    std::thread second(load, std::cref(high));
    for (int i = 0; i < 50; ++i) {
        double ac[3] = {3.0, 3.0, 3.0};
        RAW_WAVEFORM_DATA data{500.0, 3, ac, ac};
        (void)ZEKALoadRawData(&data);
    }
    first.join();
    second.join();
    const auto loaded = zeka::test::WhatIsLoaded();
    const double expected = loaded.size == 500 ? -1.0 : loaded.size == 800 ? 2.0 : 3.0;
    EXPECT_EQ(loaded.ac, std::vector<double>(loaded.ac.size(), expected));
    EXPECT_EQ(zeka::test::DcLoaded(), std::vector<double>(3, 3.0));
}

} // namespace
