// fast_words.cpp (stream) - converts a run of millivolts to the slots of a burst. Called once per run
// under g_CriticalSection; uses nothing but its arguments. Compilers make the comparisons that limit a
// voltage slow. So they are written out for processors of the x86-64 family, whose baseline has exact
// minimum and maximum instructions.
#include "stream/fast_words.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstring>

#include "stream/scaling.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace zeka {
namespace {

constexpr std::uint32_t Swapped(std::uint32_t word) { return (word >> 8 & 0xFF) | (word & 0xFF) << 8; }

constexpr std::uint32_t SlotImage(std::uint32_t dc, std::uint32_t ac)
{
    if constexpr (std::endian::native == std::endian::little)
        return Swapped(dc) | Swapped(ac) << 16;
    else
        return (dc & 0xFFFF) << 16 | (ac & 0xFFFF);
}

#if defined(__SSE2__)

constexpr std::size_t kLane = 8; // samples at a time

/// Converts two voltages to 32-bit counts. A value below every 32-bit number becomes the lowest one, which
/// the packing to 16 bits limits to the lowest 16-bit one.
__m128i Counts(const double* mv, __m128d factor, __m128d high)
{
    const __m128d scaled = _mm_mul_pd(_mm_loadu_pd(mv), factor);
    const __m128d number = _mm_and_pd(scaled, _mm_cmpord_pd(scaled, scaled));
    return _mm_cvttpd_epi32(_mm_min_pd(number, high));
}

__m128i SwapBytes(__m128i words) { return _mm_or_si128(_mm_slli_epi16(words, 8), _mm_srli_epi16(words, 8)); }

/// Converts whole lanes of eight; returns the number of samples converted.
std::size_t MakeSlotLanes(std::span<const double> mv, double counts_per_mv, const std::uint16_t* dc,
                          std::size_t dc_step, SlotImages& images)
{
    const __m128d factor = _mm_set1_pd(counts_per_mv);
    const __m128d high = _mm_set1_pd(kAcWordHigh);
    const __m128i one_dc = SwapBytes(_mm_set1_epi16(static_cast<short>(*dc)));
    std::size_t i = 0;
    for (; i + kLane <= mv.size(); i += kLane) {
        const double* const from = mv.data() + i;
        const __m128i low_half =
            _mm_unpacklo_epi64(Counts(from, factor, high), Counts(from + 2, factor, high));
        const __m128i high_half =
            _mm_unpacklo_epi64(Counts(from + 4, factor, high), Counts(from + 6, factor, high));
        const __m128i ac = SwapBytes(_mm_packs_epi32(low_half, high_half));
        const __m128i dcs =
            dc_step == 0 ? one_dc : SwapBytes(_mm_loadu_si128(reinterpret_cast<const __m128i*>(dc + i)));
        auto* const to = reinterpret_cast<__m128i*>(images.data() + i);
        _mm_storeu_si128(to, _mm_unpacklo_epi16(dcs, ac));
        _mm_storeu_si128(to + 1, _mm_unpackhi_epi16(dcs, ac));
    }
    return i;
}

std::size_t LimitLanes(std::span<double> mv, double limit)
{
    const __m128d low = _mm_set1_pd(-limit);
    const __m128d high = _mm_set1_pd(limit);
    std::size_t i = 0;
    for (; i + 2 <= mv.size(); i += 2) {
        double* const at = mv.data() + i;
        // The result is the second operand when either is NaN.
        _mm_storeu_pd(at, _mm_min_pd(high, _mm_max_pd(low, _mm_loadu_pd(at))));
    }
    return i;
}

#else

std::size_t MakeSlotLanes(std::span<const double>, double, const std::uint16_t*, std::size_t, SlotImages&)
{
    return 0;
}
std::size_t LimitLanes(std::span<double>, double) { return 0; }

#endif

void MakeSlotsFrom(std::size_t i, std::span<const double> mv, double counts_per_mv, const std::uint16_t* dc,
                   std::size_t dc_step, SlotImages& images)
{
    for (; i < mv.size(); ++i) {
        const auto ac = static_cast<std::uint16_t>(AcWord(mv[i] * counts_per_mv));
        images[i] = SlotImage(dc[i * dc_step], ac);
    }
}

void LimitFrom(std::size_t i, std::span<double> mv, double limit)
{
    for (; i < mv.size(); ++i)
        mv[i] = std::clamp(mv[i], -limit, limit);
}

/// Copies the images of a run into the packets.
void CopySlots(const SlotImages& images, std::size_t count, Burst burst, std::size_t first)
{
    constexpr std::size_t kSamples = sample_packet::kSamples;
    static_assert(sizeof images[0] == sample_packet::kSlotBytes);
    assert(count <= images.size());
    std::size_t done = std::min((kSamples - first % kSamples) % kSamples, count);
    std::memcpy(burst.data() + SlotAt(first), images.data(), done * sizeof images[0]);
    std::uint8_t* to = burst.data() + SlotAt(first + done);
    for (; done + kSamples <= count; done += kSamples, to += sample_packet::kBytes)
        std::memcpy(to, &images[done], kSamples * sizeof images[0]);
    if (done < count)
        std::memcpy(to, &images[done], (count - done) * sizeof images[0]);
}

void Put(Burst burst, std::size_t first, std::span<const double> mv, double counts_per_mv,
         const std::uint16_t* dc, std::size_t dc_step)
{
    assert(first + mv.size() <= kBurstSamples);
    SlotImages images;
    const std::size_t made = MakeSlotLanes(mv, counts_per_mv, dc, dc_step, images);
    MakeSlotsFrom(made, mv, counts_per_mv, dc, dc_step, images);
    CopySlots(images, mv.size(), burst, first);
}

} // namespace

void MakeSlotsPortably(std::span<const double> mv, double counts_per_mv, const std::uint16_t* dc,
                       std::size_t dc_step, SlotImages& images)
{
    MakeSlotsFrom(0, mv, counts_per_mv, dc, dc_step, images);
}

void LimitVoltagesPortably(std::span<double> mv, double limit) { LimitFrom(0, mv, limit); }

void PutSlots(Burst burst, std::size_t first, std::span<const double> mv, double counts_per_mv,
              std::uint16_t dc)
{
    Put(burst, first, mv, counts_per_mv, &dc, 0);
}

void PutSlots(Burst burst, std::size_t first, std::span<const double> mv, double counts_per_mv,
              std::span<const std::uint16_t> dc)
{
    assert(mv.size() == dc.size());
    Put(burst, first, mv, counts_per_mv, dc.data(), 1);
}

void LimitVoltages(std::span<double> mv, double limit)
{
    assert(limit >= 0.0);
    LimitFrom(LimitLanes(mv, limit), mv, limit);
}

} // namespace zeka
