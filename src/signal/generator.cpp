// generator.cpp (signal) - main (AC) voltage of the selected function at one instant. The plain path of the
// stream and the upload call it once per sample, under g_CriticalSection; allocates nothing. signal/shapes.h
// and signal/ecg.h define what is drawn.
#include "signal/generator.h"

#include "signal/ecg.h"
#include "signal/functions.h"
#include "signal/point_pen.h"
#include "signal/shapes.h"
#include "stream/end_of_playback.h"

[[gnu::flatten]] double _GetMainFunctionVoltage(double t)
{
    const int function = g_MainOutput;
    const zeka::Kind kind = zeka::KindOf(function);
    if (kind == zeka::Kind::kEcg)
        return zeka::EcgVoltage(t);
    if (kind == zeka::Kind::kStandard)
        _CheckStandardLoop(); // may select 0 and reset the clock; this sample is still looked up
    zeka::PointPen pen(t, g_fOutputTime);
    zeka::Draw(function, pen);
    return pen.Millivolts();
}
