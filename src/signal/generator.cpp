// generator.cpp (signal) - main (AC) voltage of the selected function at one instant. Called once per sample
// under g_CriticalSection by the plain road of the stream and by the upload; allocates nothing. What is drawn
// stands in signal/shapes.h and signal/ecg.h.
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
        _CheckStandardLoop(); // may switch the function off and the clock back; this sample is looked up all
                              // the same
    zeka::PointPen pen(t, g_fOutputTime);
    zeka::Draw(function, pen);
    return pen.Millivolts();
}
