#include "qvOSByteOrder.h"
#include "qvOSStopWatch.h"
#include "qvOSSysInfo.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <thread>

TEST(ByteOrder, SwapReversesSingleValuesAndArrays)
{
    EXPECT_EQ(qvOS::swap(0x11223344), 0x44332211);
    EXPECT_EQ(qvOS::swap(static_cast<short>(0x1122)), static_cast<short>(0x2211));
    const double d = 1234.5678, swapped = qvOS::swap(d);
    unsigned char a[8], b[8];
    std::memcpy(a, &d, 8);
    std::memcpy(b, &swapped, 8);
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(a[i], b[7 - i]);

    int values[3] = {1, 2, 0x01020304};
    qvOS::swap(values, 3);
    EXPECT_EQ(values[1], 0x02000000);
    EXPECT_EQ(values[2], 0x04030201);
    EXPECT_EQ(qvOS::getBytesex(), 0);
}

TEST(SysInfo, ReportsThisMachine)
{
    qvOS::SysInfo& info = qvOS::sysInfo();
    EXPECT_EQ(info.pageSize() % 4096u, 0u);
    EXPECT_GE(info.numCPUs(), 1u);
    EXPECT_GT(info.totalPhysicalMemory(), 16u * 1024u); // more than 16 MiB, in KiB
    EXPECT_LE(info.availPhysicalMemory(), info.totalPhysicalMemory());
    EXPECT_LE(info.availVirtualMemory(), info.totalVirtualMemory());
    const char* host = info.hostname();
    ASSERT_NE(host, nullptr);
    EXPECT_GT(std::strlen(host), 0u);
    EXPECT_LE(std::strlen(host), 15u);
}

TEST(StopWatch, AccumulatesOnlyWhileRunning)
{
    qvOS::StopWatch watch;
    EXPECT_EQ(watch.check(), 0.0);
    EXPECT_EQ(watch.start(), 0.0);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const double first = watch.stop();
    EXPECT_GE(first, 0.015);
    EXPECT_LT(first, 5.0);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(watch.check(), first); // stopped: unchanged
    EXPECT_EQ(watch.start(), first);
    watch.clear();
    EXPECT_EQ(watch.check(), 0.0);
}
