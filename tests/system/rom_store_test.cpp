// rom_store_test.cpp - ends the library while a call waits for a store in the instrument's memory.
#include "connected.h"

#include <thread>

namespace zeka::test {
namespace {

using RomStoreUnderWay = Connected;

TEST_F(RomStoreUnderWay, DoesNotHoldUpZekaFree)
{
    // Neither while the instrument is silent nor while it says "not yet".
    for (const sim::Fault fault : {sim::Fault::kNoReply, sim::Fault::kRomNeverDone}) {
        instrument.Inject({.fault = fault, .command = sim::Command::kRomStatus});
        const auto stores = [this] { return instrument.State().rom_stores[1]; };
        const unsigned before = stores();
        int saved = -1;
        std::thread save([&saved] { saved = ZEKASaveToStandaloneMode(1); });
        ASSERT_TRUE(WaitUntil([&] { return stores() > before; }));
        const auto start = Clock::now();
        ZEKAFree();
        EXPECT_LT(Since(start), milliseconds{6000});
        save.join();
        EXPECT_EQ(saved, 1) << "the store was taken";
        instrument.ClearFaults();
        ASSERT_EQ(ZEKAConnect(0, 20000), 1);
    }
}

} // namespace
} // namespace zeka::test
