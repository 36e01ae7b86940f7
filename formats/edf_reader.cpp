// edf_reader.cpp - takes channels and annotations from an EDF file with EDFlib, and
// explains why a file is refused.
#include "formats/edf_reader.h"

#include "formats/file_error.h"

#include <algorithm>
#include <edflib.h>
#include <memory>

namespace zeka::formats {
namespace {

constexpr double kUnitsPerSecond = EDFLIB_TIME_DIMENSION;
constexpr int kPiece = 1 << 16;

const char* Reason(int error)
{
    switch (error) {
    case EDFLIB_NO_SUCH_FILE_OR_DIRECTORY:
        return "there is no such file";
    case EDFLIB_FILE_IS_DISCONTINUOUS:
        return "it has gaps; save it without them";
    case EDFLIB_MALLOC_ERROR:
        return "there is no memory for it; cut it into shorter files";
    default: // EDFlib reports a file that is too short as a failed read
        return "it is cut off or no proper EDF+ file; make it again, or look at it with edfbrowser";
    }
}

/// Keeps the file open as long as the object lives.
class EdfFile {
public:
    explicit EdfFile(const std::string& path) : path_(path), header_(std::make_unique<edf_hdr_struct>())
    {
        if (edfopen_file_readonly(path.c_str(), header_.get(), EDFLIB_READ_ALL_ANNOTATIONS) != 0)
            Refuse(path, Reason(header_->filetype));
    }
    ~EdfFile() { (void)edfclose_file(header_->handle); }
    EdfFile(const EdfFile&) = delete;
    EdfFile& operator=(const EdfFile&) = delete;

    [[nodiscard]] const edf_hdr_struct& Header() const { return *header_; }

    [[nodiscard]] RecordedChannel Channel(int signal) const
    {
        const edf_param_struct& about = header_->signalparam[signal];
        RecordedChannel channel;
        channel.name = Trimmed(about.label);
        channel.unit = Trimmed(about.physdimension);
        channel.rate =
            about.smp_in_datarecord * kUnitsPerSecond / static_cast<double>(header_->datarecord_duration);
        const double mv = MillivoltsPer(channel.unit);
        channel.voltage = mv != 0.0;
        while (std::ssize(channel.values) < about.smp_in_file) {
            const std::size_t before = channel.values.size();
            const auto left = about.smp_in_file - static_cast<long long>(before);
            const int wanted = static_cast<int>(std::min<long long>(left, kPiece));
            channel.values.resize(before + static_cast<std::size_t>(wanted));
            if (edfread_physical_samples(header_->handle, signal, wanted, channel.values.data() + before) !=
                wanted)
                Refuse(path_, Reason(EDFLIB_FILE_READ_ERROR));
        }
        if (channel.voltage)
            std::ranges::for_each(channel.values, [mv](double& value) { value *= mv; });
        return channel;
    }

    [[nodiscard]] Annotation Note(int number) const
    {
        edf_annotation_struct note{};
        if (edf_get_annotation(header_->handle, number, &note) != 0)
            return {};
        return {static_cast<double>(note.onset) / kUnitsPerSecond,
                static_cast<double>(std::max(note.duration_l, 0LL)) / kUnitsPerSecond, note.annotation};
    }

private:
    static std::string Trimmed(std::string text)
    {
        text.erase(text.find_last_not_of(' ') + 1);
        return text;
    }

    std::string path_;
    std::unique_ptr<edf_hdr_struct> header_; // 200 KB
};

} // namespace

Recording ReadEdf(const std::string& path)
{
    const EdfFile file(path);
    const edf_hdr_struct& header = file.Header();
    constexpr const char* kNames[] = {"EDF", "EDF+", "BDF", "BDF+"};
    Recording recording;
    recording.format = kNames[std::clamp(header.filetype, 0, 3)];
    for (int signal = 0; signal < header.edfsignals; ++signal)
        recording.channels.push_back(file.Channel(signal));
    for (int number = 0; number < header.annotations_in_file; ++number)
        recording.annotations.push_back(file.Note(number));
    return recording;
}

} // namespace zeka::formats
