// model_test.cpp - random sequences of calls, and written ones, to the library and the model.
// ZEKA_MODEL_SEEDS says how many sequences are played, ZEKA_MODEL_SEED plays a single one.
#include <cstdlib>
#include <gtest/gtest.h>

#include "model/calls.h"

namespace zeka::test {
namespace {

constexpr unsigned kSeeds = 40;
constexpr int kSteps = 120;

unsigned FromEnvironment(const char* name, unsigned otherwise)
{
    const char* const text = std::getenv(name);
    return text == nullptr ? otherwise : static_cast<unsigned>(std::strtoul(text, nullptr, 10));
}

Call RandomCall(Rng& rng, bool in_callback)
{
    static const auto wheel = [] {
        std::vector<const CallKind*> all;
        for (const auto& [name, kind] : CallKinds())
            all.insert(all.end(), static_cast<std::size_t>(kind.weight), &kind);
        return all;
    }();
    for (;;)
        if (const CallKind& kind = *wheel[rng() % wheel.size()]; !in_callback || kind.in_callbacks)
            return kind.make(rng);
}

void RandomSequence(Duel& duel, unsigned seed)
{
    Rng rng(seed);
    for (auto early = rng() % 4; early > 0; --early)
        duel.Do({RandomCall(rng, false)});
    duel.Connect();
    for (int step = 0; step < kSteps && duel.Difference().empty(); ++step) {
        if (Chance(rng, 12))
            duel.Refuse(Chance(rng, 3));
        if (Chance(rng, 8)) {
            const char kind = "gggpmffbbd"[rng() % 10];
            const int nth = 1 + static_cast<int>(rng() % (kind == 'g' ? 200 : 3));
            duel.React({kind, nth, RandomCall(rng, true)});
        }
        std::vector<Call> calls;
        for (auto n = 1 + (Chance(rng, 4) ? rng() % 3 : 0); n > 0; --n)
            calls.push_back(RandomCall(rng, false));
        duel.Do(calls);
        duel.Play(static_cast<int>(Chance(rng, 12) ? rng() % 80 : rng() % 6));
    }
}

void Expect(unsigned seed, const std::function<void(Duel&)>& body)
{
    if (const std::string difference = InFreshLibrary(seed, body); !difference.empty())
        ADD_FAILURE() << "seed " << seed << '\n' << difference;
}

TEST(SignalModel, AgreesInRandomSequences)
{
    (void)CallKinds();
    const unsigned only = FromEnvironment("ZEKA_MODEL_SEED", 0);
    const unsigned last = only != 0 ? only : FromEnvironment("ZEKA_MODEL_SEEDS", kSeeds);
    for (unsigned seed = only != 0 ? only : 1; seed <= last && !HasFailure(); ++seed)
        Expect(seed, [seed](Duel& duel) { RandomSequence(duel, seed); });
}

} // namespace
} // namespace zeka::test
