// plot_test.cpp - zeka plot: millimetres are measured in the SVG, whose unit they are; pages in the PDF;
// pixels in the PNG, which is also compared with pictures that somebody has looked at (pictures/, made by the
// lines in kPictures).
#include "command.h"

#include <algorithm>
#include <cairo/cairo.h>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <memory>
#include <sstream>
#include <unistd.h>

namespace zeka::test {
namespace {

using testing::HasSubstr;

constexpr double kGrain = 1.0 / 128; // mm; Cairo writes multiples of 1/256
constexpr double kLineError = 0.02;  // mm, of the simplified trace

class TemporaryFolder {
public:
    TemporaryFolder()
        : path_(std::filesystem::temp_directory_path() / ("zeka-plot-test-" + std::to_string(::getpid())))
    {
        std::filesystem::create_directory(path_);
    }
    ~TemporaryFolder() { std::filesystem::remove_all(path_); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    [[nodiscard]] std::string File(const std::string& name) const { return path_ / name; }
    [[nodiscard]] std::string Text(const std::string& name) const
    {
        std::ostringstream text;
        text << std::ifstream(path_ / name, std::ios::binary).rdbuf();
        return text.str();
    }

private:
    const std::filesystem::path path_;
};

/// Runs zeka plot into that file and answers what it says of it.
nlohmann::json Plot(std::vector<std::string> words, const std::string& file)
{
    words.insert(words.begin(), "plot");
    words.insert(words.end(), {"-o", file, "--json", "--quiet"});
    const Outcome outcome = RunZeka(words);
    if (outcome.status != 0)
        throw std::runtime_error(outcome.err);
    return outcome.Json();
}

struct Point {
    double x, y;
};
using Line = std::vector<Point>;

/// What is stroked with a pen of that width, or filled as a triangle (width 0), in the order of drawing.
std::vector<Line> Strokes(const std::string& svg, double width)
{
    std::vector<Line> lines;
    std::istringstream rows(svg);
    for (std::string row; std::getline(rows, row);) {
        const std::size_t pen = row.find("stroke-width:");
        const bool filled =
            row.find("fill-rule:nonzero") != std::string::npos && row.find(" Z ") != std::string::npos;
        if (width > 0.0 ? pen == std::string::npos || std::strtod(row.c_str() + pen + 13, nullptr) != width
                        : !filled)
            continue;
        EXPECT_EQ(row.find("transform="), std::string::npos)
            << "not in plain millimetres: " << row.substr(0, 200);
        const std::size_t from = row.find(" d=\"") + 4;
        std::istringstream tokens(row.substr(from, row.find('"', from) - from));
        for (std::string token; tokens >> token;) {
            if (token != "M" && token != "L")
                continue;
            if (token == "M")
                lines.emplace_back();
            Point point{};
            tokens >> point.x >> point.y;
            lines.back().push_back(point);
        }
    }
    return lines;
}

/// Where the upright (or level) ones of the lines stand, in rising order.
std::vector<double> Positions(const std::vector<Line>& lines, bool upright)
{
    std::vector<double> at;
    for (const Line& line : lines)
        if (line.size() == 2 && (line[0].x == line[1].x) == upright)
            at.push_back(upright ? line[0].x : line[0].y);
    std::ranges::sort(at);
    return at;
}

void ExpectPitch(const std::vector<double>& at, double pitch)
{
    ASSERT_GT(at.size(), 3u);
    for (std::size_t i = 1; i < at.size(); ++i)
        EXPECT_NEAR(at[i] - at[i - 1], pitch, kGrain);
}

/// The highest points, no two of them nearer than that.
std::vector<Point> Peaks(const Line& trace, double above, double apart)
{
    std::vector<Point> peaks;
    for (const Point& point : trace) {
        if (point.y > above)
            continue;
        if (peaks.empty() || point.x - peaks.back().x > apart)
            peaks.push_back(point);
        else if (point.y < peaks.back().y)
            peaks.back() = point;
    }
    return peaks;
}

/// The triangles above the beats, without the legend's.
std::vector<Line> BeatMarks(const std::string& svg)
{
    std::vector<Line> marks = Strokes(svg, 0.0);
    std::erase_if(marks, [](const Line& mark) { return mark.size() != 3; });
    if (!marks.empty())
        marks.erase(marks.begin());
    return marks;
}

struct Scale {
    double mm_per_s, mm_per_mv;
};

class PlotScale : public testing::TestWithParam<Scale> {};

TEST_P(PlotScale, IsThatOfThePaper)
{
    const auto [speed, gain] = GetParam();
    const TemporaryFolder folder;
    const nlohmann::json result = Plot({"ecg", "--rate", "60", "--seconds", "4", "--pacing", "5", "--speed",
                                        std::to_string(int(speed)), "--gain", std::to_string(int(gain))},
                                       folder.File("strip.svg"));
    const std::string svg = folder.Text("strip.svg");
    // One unit of the drawing is one millimetre.
    for (const auto& [name, mm] :
         {std::pair{" width=\"", result["page_mm"][0]}, {" height=\"", result["page_mm"][1]}}) {
        const std::size_t at = svg.find(name) + std::strlen(name);
        EXPECT_EQ(std::strtod(svg.c_str() + at, nullptr), mm);
        EXPECT_EQ(svg.find("mm\"", at), svg.find('"', at) - 2);
    }
    std::istringstream box(svg.substr(svg.find("viewBox=\"") + 9, 60));
    for (const double wanted :
         {0.0, 0.0, result["page_mm"][0].get<double>(), result["page_mm"][1].get<double>()}) {
        double number = -1.0;
        box >> number;
        EXPECT_EQ(number, wanted);
    }

    for (const bool upright : {true, false}) {
        ExpectPitch(Positions(Strokes(svg, 0.1), upright), 1.0);
        ExpectPitch(Positions(Strokes(svg, 0.16), upright), 5.0);
    }

    const std::vector<Line> traces = Strokes(svg, 0.3);
    ASSERT_EQ(traces.size(), 2u);
    const Line& pulse = traces[0];
    ASSERT_EQ(pulse.size(), 6u);
    EXPECT_NEAR(pulse[3].x - pulse[2].x, 0.2 * speed, kGrain);
    EXPECT_NEAR(pulse[1].y - pulse[2].y, 1.0 * gain, kGrain);

    const double zero = pulse[0].y;
    const Line& trace = traces[1];
    EXPECT_NEAR(trace.back().x - trace.front().x, 4.0 * speed, 0.05);
    const std::vector<Point> peaks = Peaks(trace, zero - 0.5 * gain, 0.2 * speed);
    ASSERT_EQ(peaks.size(), 4u);
    for (std::size_t i = 0; i < peaks.size(); ++i) {
        EXPECT_NEAR(zero - peaks[i].y, 0.875 * gain, kLineError + kGrain);
        if (i > 0) {
            EXPECT_NEAR(peaks[i].x - peaks[i - 1].x, 1.0 * speed, kLineError + kGrain);
        }
    }

    const std::vector<Line> marks = BeatMarks(svg);
    ASSERT_EQ(marks.size(), peaks.size());
    for (std::size_t i = 0; i < peaks.size(); ++i)
        EXPECT_NEAR(marks[i][0].x, peaks[i].x, 0.1);
    const std::vector<double> pacing = Positions(Strokes(svg, 0.4), true);
    EXPECT_GE(pacing.size(), 1u + 4u);
}

INSTANTIATE_TEST_SUITE_P(Scales, PlotScale, testing::Values(Scale{25, 10}, Scale{50, 20}, Scale{25, 5}),
                         [](const auto& one) {
                             return "Speed" + std::to_string(int(one.param.mm_per_s)) + "Gain" +
                                    std::to_string(int(one.param.mm_per_mv));
                         });

// 0.1 ms are 4 samples of the 1600 that share a millimetre.
TEST(Plot, LosesNoPulseHoweverShort)
{
    const TemporaryFolder folder;
    const nlohmann::json result = Plot({"ecg", "--rate", "60", "--pacing", "4", "--pacing-width", "0.1",
                                        "--channel", "dc", "--gain", "10", "--seconds", "3"},
                                       folder.File("strip.svg"));
    const std::vector<Line> traces = Strokes(folder.Text("strip.svg"), 0.3);
    ASSERT_EQ(traces.size(), 2u);
    const double zero = traces[0][0].y;
    const std::vector<Point> peaks = Peaks(traces[1], zero - 20.0, 5.0);
    ASSERT_GE(peaks.size(), 3u);
    for (const Point& peak : peaks)
        EXPECT_NEAR(zero - peak.y, 40.0, 0.31 + kLineError); // one count of the DC word
}

// Beats of changing height on a baseline that swings by more; breath stops for the last 10 s of the
// minute.
TEST(Plot, MarksEveryBeatAndTheApnea)
{
    const TemporaryFolder folder;
    (void)Plot({"ecg", "--rate", "60", "--breaths", "12", "--breath-baseline", "100", "--breath-amplitude",
                "50", "--apnea", "10", "--from", "46", "--seconds", "8"},
               folder.File("strip.svg"));
    const std::string svg = folder.Text("strip.svg");
    const std::vector<Line> marks = BeatMarks(svg);
    ASSERT_EQ(marks.size(), 8u);
    for (std::size_t i = 1; i < marks.size(); ++i)
        EXPECT_NEAR(marks[i][0].x - marks[i - 1][0].x, 25.0, 0.1);
    const std::vector<Line> apnea = Strokes(svg, 0.8);
    ASSERT_EQ(apnea.size(), 2u); // the legend's and its own
    const double begin = Strokes(svg, 0.3)[1].front().x;
    EXPECT_NEAR(apnea[1][0].x - begin, 4.0 * 25.0, 0.1);
    EXPECT_NEAR(apnea[1][1].x - begin, 8.0 * 25.0, 0.1);
}

// The recording is drawn as the signal was: at another rate, hence within the height of one of its steps.
TEST(Plot, DrawsARecordingWithItsAnnotations)
{
    const TemporaryFolder folder;
    for (const char* name : {"ecg.edf", "ecg.hea"}) {
        const Outcome record = RunZeka({"record", "ecg", "--rate", "60", "--pacing", "5", "--seconds", "8",
                                        "--rate-out", "1000", "--offline", "-q", "-o", folder.File(name)});
        ASSERT_EQ(record.status, 0) << record.err;
        const nlohmann::json result =
            Plot({"--file", folder.File(name), "--from", "2", "--seconds", "4"}, folder.File("strip.svg"));
        EXPECT_EQ(result["title"], name);
        EXPECT_EQ(result["seconds"], 4.0);
        const std::string svg = folder.Text("strip.svg");
        const std::vector<Line> traces = Strokes(svg, 0.3);
        ASSERT_EQ(traces.size(), 2u);
        const double zero = traces[0][0].y;
        const std::vector<Point> peaks = Peaks(traces[1], zero - 5.0, 5.0);
        const std::vector<Line> marks = BeatMarks(svg);
        ASSERT_EQ(peaks.size(), 4u);
        ASSERT_EQ(marks.size(), 4u);
        for (std::size_t i = 0; i < peaks.size(); ++i) {
            EXPECT_NEAR(zero - peaks[i].y, 8.75, 0.4); // the mean over 1 ms at the peak
            EXPECT_NEAR(marks[i][0].x, peaks[i].x, 0.1);
        }
        EXPECT_EQ(Positions(Strokes(svg, 0.4), true).size(), 1u + 4u) << "the legend's and a pulse a second";
    }
    const std::string edf = folder.File("ecg.edf");
    const std::string strip = folder.File("strip.pdf");
    EXPECT_EQ(RunZeka({"plot", "--file", edf, "--channel", "DC", "-o", strip, "-q"}).status, 0);
    EXPECT_THAT(RunZeka({"plot", "--file", edf, "--rate", "60", "-o", strip}).err, HasSubstr("--rate"));
    EXPECT_EQ(RunZeka({"plot", "ecg", "--file", edf, "-o", strip}).status, 2);
    EXPECT_EQ(RunZeka({"plot", "--file", edf, "--channel", "V9", "-o", strip}).status, 2);
    EXPECT_THAT(RunZeka({"plot", "--file", edf, "--from", "8", "-o", strip}).err,
                HasSubstr("ends after 8 s"));
}

TEST(Plot, GoesOnInTheNextRowAndOnTheNextPage)
{
    const TemporaryFolder folder;
    const nlohmann::json result =
        Plot({"sine", "--frequency", "1", "--amplitude", "4", "--seconds", "45"}, folder.File("strip.pdf"));
    EXPECT_EQ(result["rows"], 5);
    EXPECT_EQ(result["pages"], 2); // 4 mV high, there is room for 3
    EXPECT_EQ(result["page_mm"], (nlohmann::json{297.0, 210.0}));
    const std::string pdf = folder.Text("strip.pdf");
    EXPECT_THAT(pdf, HasSubstr("/Count 2"));
    const std::size_t box = pdf.find("/MediaBox [");
    ASSERT_NE(box, std::string::npos);
    std::istringstream numbers(pdf.substr(box + 11, 60));
    double left = 0.0;
    double bottom = 0.0;
    double width = 0.0;
    double height = 0.0;
    numbers >> left >> bottom >> width >> height;
    EXPECT_NEAR((width - left) / 72.0 * 25.4, 297.0, 0.01);
    EXPECT_NEAR((height - bottom) / 72.0 * 25.4, 210.0, 0.01);

    // The rows together are the whole: 3 rows of 1.5 s have a period and a half each.
    (void)Plot({"sine", "--frequency", "1", "--seconds", "4.5", "--rows", "3"}, folder.File("rows.svg"));
    const std::vector<Line> traces = Strokes(folder.Text("rows.svg"), 0.3);
    ASSERT_EQ(traces.size(), 6u); // each behind its calibration pulse
    for (const std::size_t row : {1u, 3u, 5u}) {
        const double zero = traces[row - 1][0].y;
        const double way_mm = row == 3 ? -0.25 * 25.0 : 0.25 * 25.0; // it begins upwards, downwards, upwards
        const auto at = std::ranges::min_element(traces[row], {}, &Point::y);
        EXPECT_NEAR(zero - at->y, 5.0, kLineError + kGrain);
        EXPECT_NEAR(std::remainder(at->x - traces[row].front().x - way_mm, 25.0), 0.0, 0.5);
        EXPECT_NEAR(traces[row].front().y, zero, 0.02);
    }
}

using Surface = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;

Surface Picture(const std::string& path)
{
    return {cairo_image_surface_create_from_png(path.c_str()), &cairo_surface_destroy};
}

TEST(Plot, ResolutionStandsInThePng)
{
    const TemporaryFolder folder;
    const nlohmann::json result = Plot({"ecg", "--seconds", "2"}, folder.File("strip.png"));
    const Surface picture = Picture(folder.File("strip.png"));
    EXPECT_EQ(cairo_image_surface_get_width(picture.get()), 10 * result["page_mm"][0].get<int>());
    EXPECT_EQ(cairo_image_surface_get_height(picture.get()), 10 * result["page_mm"][1].get<int>());
    // pHYs: 9 bytes, 10000 pixels to the metre both ways, and their CRC.
    using namespace std::string_literals;
    EXPECT_THAT(folder.Text("strip.png"),
                HasSubstr("\0\0\0\x09pHYs\0\0\x27\x10\0\0\x27\x10\1\x94\x69\x51\x19"s));
}

struct Stored {
    const char* name;
    std::vector<std::string> words;
};
const std::vector<Stored> kPictures{
    {"paced.png",
     {"ecg", "--rate", "75", "--pacing", "5", "--pacing-width", "1.5", "--seconds", "3", "--dpi", "127"}},
    {"rows.png",
     {"iec-2-51:CAL20110", "--seconds", "3", "--speed", "50", "--gain", "5", "--rows", "2", "--dpi", "127"}}};

/// Share of pixels of which one colour differs by more than a quarter; 1 for another size.
double Difference(cairo_surface_t* one, cairo_surface_t* other)
{
    const int width = cairo_image_surface_get_width(one);
    const int height = cairo_image_surface_get_height(one);
    if (width <= 0 || width != cairo_image_surface_get_width(other) ||
        height != cairo_image_surface_get_height(other))
        return 1.0;
    constexpr int kClear = 64;
    int differing = 0;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const auto pixel = [&](cairo_surface_t* surface) {
                return cairo_image_surface_get_data(surface) + y * cairo_image_surface_get_stride(surface) +
                       4 * x;
            };
            const unsigned char* a = pixel(one);
            const unsigned char* b = pixel(other);
            differing += std::abs(a[0] - b[0]) > kClear || std::abs(a[1] - b[1]) > kClear ||
                         std::abs(a[2] - b[2]) > kClear;
        }
    return static_cast<double>(differing) / (static_cast<double>(width) * height);
}

// A mark, a row or a word that is missing or elsewhere is some thousandths of the picture; another release of
// the font or of Cairo moves the edges of letters, which is less.
TEST(Plot, LooksAsItDid)
{
    const TemporaryFolder folder;
    for (const Stored& stored : kPictures) {
        (void)Plot(stored.words, folder.File(stored.name));
        const Surface now = Picture(folder.File(stored.name));
        const Surface then = Picture(std::string(ZEKA_PICTURES) + "/" + stored.name);
        EXPECT_LT(Difference(now.get(), then.get()), 0.001) << stored.name;
    }
}

// Labels in recordings often are.
TEST(Plot, TakesTextThatIsNoUtf8)
{
    const TemporaryFolder folder;
    const Outcome outcome = RunZeka(
        {"plot", "sine", "--title", "500 \xb5V", "--seconds", "1", "--json", "-o", folder.File("a.png")});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.Json().at("title").get<std::string>(), testing::StartsWith("500 "));
}

TEST(Plot, RefusesWhatCannotBe)
{
    const TemporaryFolder folder;
    struct Case {
        std::vector<std::string> words;
        int status;
        const char* says;
    };
    const std::vector<Case> cases{
        {{"ecg"}, 2, "--output"},
        {{"ecg", "-o", folder.File("strip.jpg")}, 2, ".pdf, .svg or .png"},
        {{"ecg", "-o", folder.File("none/strip.pdf"), "--seconds", "1"}, 1, "none/strip.pdf"},
        {{"ecg", "-o", folder.File("a.svg"), "--paper", "a4", "--seconds", "90"}, 2, "only a PDF"},
        {{"ecg", "-o", folder.File("a.pdf"), "--rows", "1", "--seconds", "20"}, 2, "at least 2 rows"},
        {{"sine", "--amplitude", "10", "--gain", "20", "-o", folder.File("a.pdf")}, 2, "lower --gain"},
        {{"ecg", "-o", folder.File("a.png"), "--dpi", "1200", "--seconds", "60"}, 2, "lower --dpi"},
        {{"ecg", "-o", folder.File("a.pdf"), "--seconds", "601"}, 2, "600"},
        {{"ecg", "-o", folder.File("a.pdf"), "--gain", "7"}, 2, "--gain"}};
    for (const Case& one : cases) {
        std::vector<std::string> words = one.words;
        words.insert(words.begin(), "plot");
        const Outcome outcome = RunZeka(words);
        EXPECT_EQ(outcome.status, one.status) << outcome.err;
        EXPECT_THAT(outcome.err, HasSubstr(one.says));
        EXPECT_EQ(std::filesystem::exists(words.back()), false);
    }
}

} // namespace
} // namespace zeka::test
