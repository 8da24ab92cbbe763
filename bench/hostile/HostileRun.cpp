// Opens one movie and runs one named operation on the movie and on every track, then prints one
// line: the operation, its wall time and its processor time (user and system) in seconds, and the
// peak memory it added in MiB (for "open", the peak beyond the movie atom). Run once a process, so that each
// peak is its own.
//
//   hostile_run MOVIE OPERATION       (hostile_run --list names the operations)

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>
#include <string>
#include <vector>

#include "IQTMovieFixer.h"
#include "IQTSifter.h"
#include "QTExternalReferences.h"
#include "QTFourCC.h"
#include "external_references/QTWinVolumes.h"
#include "tenacore/FileUtils.h"
#include "tenacore/config.h"
#include "tenacore/debug.h"
#include "tenacore/string.h"

namespace
{

using tenacore::classref::InterfaceRef;

volatile uint64_t gSink = 0;

void Keep(uint64_t inValue)
{
    gSink = gSink + inValue;
}

void Keep(const MK::BinaryData& inData)
{
    Keep(inData.GetSize());
}

// Peak resident memory so far, in bytes.
uint64_t PeakBytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return uint64_t(usage.ru_maxrss) * 1024;
}

// The size of the file's first top-level moov as it stands in the file, before the load drops
// anything from it; 0 when there is none.
uint64_t StoredMovieAtomSize(const std::string& inPath)
{
    std::FILE* file = std::fopen(inPath.c_str(), "rb");
    if (!file)
        return 0;
    uint64_t found = 0;
    uint8_t header[8];
    for (long pos = 0; std::fseek(file, pos, SEEK_SET) == 0 && std::fread(header, 1, 8, file) == 8;)
    {
        const uint32_t size =
            uint32_t(header[0]) << 24 | uint32_t(header[1]) << 16 | uint32_t(header[2]) << 8 | header[3];
        if (std::memcmp(header + 4, "moov", 4) == 0)
        {
            found = size;
            break;
        }
        if (size < 8)
            break;
        pos += long(size);
    }
    std::fclose(file);
    return found;
}

// Processor time of this process so far, user and system, in seconds.
double CpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

struct Context
{
    std::string path;
    std::u16string widePath;
    InterfaceRef<QT::IQTMovie> movie;
};

using Operation = std::function<void(Context&)>;

// Calls inEach with every track of the movie.
void EachTrack(Context& ioContext, const std::function<void(QT::IQTTrack&)>& inEach)
{
    const uint32_t count = ioContext.movie->GetTrackCount();
    for (uint32_t index = 0; index < count; ++index)
    {
        InterfaceRef<QT::IQTTrack> track;
        ioContext.movie->GetIndTrack(track, index);
        inEach(*track);
    }
}

// A call that raises the contract error on a track of another kind.
template <class Call>
void Guarded(Call&& inCall)
{
    try
    {
        inCall();
    }
    catch (const tenacore::config::Error&)
    {
        Keep(1);
    }
}

void MovieFacts(Context& c)
{
    QT::IQTMovie& movie = *c.movie;
    Keep(movie.GetMovieTimeScale() + uint64_t(movie.GetMovieDuration()) + movie.GetMoviePosterTime() +
         movie.GetMovieAtomSize() + movie.GetMovieAtomOffset() + movie.GetTrackCount());
    QT::QTRect bounds;
    movie.GetMovieBounds(bounds);
    Keep(uint64_t(bounds.width));
    for (const uint32_t type : {QT::kMvhdAtom, QT::kTrakAtom, QT::kUdtaAtom, QT::kMetaAtom, QT::kCmovAtom,
                                QT::FourCC("junk"), QT::FourCC("none")})
    {
        MK::BinaryData child;
        if (movie.GetMovieChildAtom(type, child) == 0)
            Keep(child);
    }
    std::shared_ptr<tenacore::allocator::RecycledMemory> buffer;
    movie.GetUUIDAtom(buffer, {}, true);
}

void UserData(Context& c)
{
    QT::IQTMovie& movie = *c.movie;
    const uint32_t count = movie.GetUserDataCount();
    uint32_t lastType = 0;
    for (uint32_t index = 0; index < count; ++index)
    {
        MK::BinaryData data;
        movie.GetUserData(index, data, lastType);
        Keep(data);
    }
    for (const uint32_t type : {lastType, QT::FourCC("none")})
    {
        MK::BinaryData found;
        if (movie.FindUserData(type, found))
            Keep(found);
    }
    EachTrack(c,
              [](QT::IQTTrack& inTrack)
              {
                  MK::BinaryData data;
                  Keep(inTrack.GetUserDataItem(QT::FourCC("name"), data));
              });
}

void Metadata(Context& c)
{
    QT::MetadataMap items;
    c.movie->GetMetadataItems(items);
    for (const auto& [key, item] : items)
    {
        QT::MetadataValue value;
        Keep(c.movie->GetMetadataValue(key, value));
        uint32_t offset = 0;
        Keep(c.movie->GetMetadataValueOffset(key, offset) + offset);
    }
    Keep(items.size());
}

void TrackFacts(Context& c)
{
    EachTrack(c,
              [](QT::IQTTrack& t)
              {
                  Keep(t.GetTrackIndex() + t.GetTrackMediaType() + t.IsTrackEnabled() + t.GetTrackDuration() +
                       t.GetMediaTimeScale() + t.GetEditedTrackDuration() + t.GetSampleDescriptionCount() +
                       t.GetEditedSampleCount() + t.GetTrackDurationInMediaTime() +
                       t.IsEditListSupported(false) + t.IsEditListSupported(true) + t.IsTrackEdited() +
                       t.GetFirstSampleIndex() + t.VideoTrackHasVariableFrameRate() +
                       t.GetFirstSampleExcess() + t.HasIdentityTransform() + t.HasUnscaledTransform() +
                       t.HasRightAngleTransform() + t.GetTrackRotation());
                  const QT::QTRect bounds = t.GetTrackBounds();
                  float width = 0, height = 0;
                  Keep(uint64_t(bounds.width) + t.GetTrackProductionApertureDimensions(width, height) +
                       t.GetTrackEncodedPixelsDimensions(width, height));
              });
}

// Description 0, the last one and one past it, and the comparison of them all.
void Descriptions(Context& c)
{
    EachTrack(
        c,
        [](QT::IQTTrack& t)
        {
            const uint32_t count = t.GetSampleDescriptionCount();
            Keep(t.GetAllSampleDescriptionsEquivalent());
            const bool video = t.GetTrackMediaType() == QT::kVideoMediaType;
            const bool sound = t.GetTrackMediaType() == QT::kAudioMediaType;
            if (video)
                Keep(t.GetAllImageDescriptionsEquivalent(false) + t.GetAllImageDescriptionsEquivalent(true));
            for (const uint32_t index : {0u, count > 0 ? count - 1 : 0u, count})
            {
                const auto i = int32_t(index);
                Keep(t.GetCaptionMediaDataFormat(i));
                if (video)
                {
                    uint32_t w[8] = {};
                    std::u16string name;
                    uint8_t a = 0, b = 0;
                    MK::BinaryData data;
                    Keep(t.GetVideoMediaCompressionFourCC(i) + t.GetVideoMediaVendorFourCC(i) +
                         uint64_t(t.GetVideoMediaWidth(i)) + uint64_t(t.GetVideoMediaHeight(i)) +
                         t.GetVideoMediaDepth(i) +
                         t.GetVideoMediaCleanAperture(i, w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7]) +
                         t.GetVideoMediaPixelAspect(i, w[0], w[1]) + t.GetVideoMediaCodecName(i, name) +
                         t.GetVideoMediaQuality(i, w[2], w[3]) + t.GetVideoMediaFieldInfo(i, a, b) +
                         t.GetVideoMediaColorInfo(i, w[4], w[5], w[6]) +
                         t.GetVideoMediaArbitraryImageDescriptionExtensionAsBinary(i, QT::FourCC("avcC"),
                                                                                   data) +
                         t.GetVideoMediaImageDescriptionAsBinary(i, data) +
                         t.GetVideoMediaImageDescriptionAsPlatformBinary(i, data));
                    float width = 0, height = 0;
                    Keep(t.GetTrackCleanApertureDimensions(width, height));
                }
                if (sound)
                {
                    std::vector<int32_t> map;
                    bool unsupported = false;
                    Keep(t.GetAudioMediaSampleRate(index) + uint64_t(t.GetAudioMediaNumChannels(index)) +
                         uint64_t(t.GetAudioMediaBitsPerSample(index)) +
                         t.GetAudioMediaPackedBitsPerSample(index) + t.GetAudioMediaDataFormat(index) +
                         t.IsAudioMediaUncompressed(index) + t.GetAudioMediaRawDataFormat(index) +
                         t.GetMultiChannelMap(index, map, unsupported));
                }
            }
        });
}

// The sample table with the edits applied (what a player asks for), or of every sample, the edits
// ignored and sorted by time (the most a caller can ask for).
void SampleTableOf(Context& c, bool inEverySample)
{
    EachTrack(c,
              [inEverySample](QT::IQTTrack& t)
              {
                  QT::VideoSampleTable samples;
                  bool variable = false;
                  Keep(t.MakeVideoSampleTable(inEverySample, inEverySample, samples, &variable) +
                       samples.size());
              });
}

void SampleTable(Context& c)
{
    SampleTableOf(c, false);
}

void SampleTableAll(Context& c)
{
    SampleTableOf(c, true);
}

void Temporal(Context& c)
{
    EachTrack(c,
              [](QT::IQTTrack& t)
              {
                  if (t.GetTrackMediaType() != QT::kVideoMediaType)
                      return;
                  std::vector<QT::VideoTemporalReference> references;
                  Keep(t.MakeVideoTemporalReferenceTable(references) + references.size());
              });
}

// The dependency questions, every sample asked whether it is referenced.
void Dependency(Context& c)
{
    EachTrack(c,
              [](QT::IQTTrack& t)
              {
                  if (t.GetTrackMediaType() != QT::kVideoMediaType)
                      return;
                  Keep(t.VideoTrackContainsDeltaFrames() + t.VideoTrackHasDependencyTables() +
                       t.VideoTrackContainsIndependentSamples());
                  const uint32_t samples = std::min<uint32_t>(t.GetEditedSampleCount(), 1u << 27);
                  for (uint32_t sample = 0; sample < samples; ++sample)
                      Keep(t.IsVideoSampleReferenced(sample));
              });
}

void Audio(Context& c)
{
    EachTrack(c,
              [](QT::IQTTrack& t)
              {
                  if (t.GetTrackMediaType() != QT::kAudioMediaType)
                      return;
                  for (const bool byOffset : {false, true})
                  {
                      QT::AudioSampleRangeMap map;
                      Keep(t.MakeAudioSampleRangeMap(map, byOffset) + map.size());
                  }
              });
}

void Timecode(Context& c)
{
    EachTrack(c,
              [](QT::IQTTrack& t)
              {
                  QT::TimecodeMediaInfo info;
                  std::u16string name;
                  Keep(uint64_t(t.GetTimecodeMediaInfo(info, name)) + name.size());
                  int64_t sample = 0;
                  Keep(uint64_t(t.GetTimecodeMediaHandleSample(sample)));
                  // Asked of another kind of track it raises the contract error: a programming error,
                  // not what a hostile file makes the library do.
                  if (t.GetTrackMediaType() == QT::kTimecodeMediaType)
                      Guarded(
                          [&]
                          {
                              int64_t offset = 0;
                              uint32_t size = 0;
                              Keep(uint64_t(t.GetTimecodeMediaSampleLocation(offset, size)));
                          });
                  static constexpr uint8_t kBytes[8] = {0, 0, 0, 1, 0, 0, 0, 2};
                  int64_t frame = 0;
                  Keep(uint64_t(t.GetTimecodeMediaFrameNumber(MK::BinaryData(kBytes, 4), info, frame)));
              });
}

void Captions(Context& c)
{
    EachTrack(c,
              [&](QT::IQTTrack& t)
              {
                  Keep(t.GetCaptionMediaFrameDuration());
                  if (t.GetTrackMediaType() != QT::kCaptionMediaType)
                      return;
                  for (const bool byOffset : {false, true})
                  {
                      QT::CaptionSampleMap map;
                      Keep(t.MakeCaptionSampleMap(c.widePath, map, byOffset) + map.size());
                  }
              });
}

// Nothing a movie names is looked for on this machine: no path exists, which makes every search
// try all it knows, and the volumes are a stand-in.
void StandInVolumes(QT::WinImpl::VolumeRows& ioRows)
{
    ioRows.push_back({u"E:\\", u"archive", false, true});
    ioRows.push_back({u"/media/user/DISK/", u"noname", false, true});
}

void References(Context& c)
{
    (void)tenacore::utility::FileUtils::SetExistenceProbe([](const std::u16string&) { return false; });
    QT::WinImpl::WinVolumes::SetRowSource(&StandInVolumes);
    EachTrack(c,
              [](QT::IQTTrack& t)
              {
                  std::u16string single;
                  QT::ExternalReferenceMap references;
                  Keep(t.IsDataSelfContained() + t.GetDataReferenceType() + t.HasSingleDataReference() +
                       t.GetSingleExternalReference(&single) + t.CollectExternalReferences(references) +
                       references.size());
              });
    QT::ExternalReferenceMap all;
    Keep(QT::GetAllExternalReferences(c.movie, all) + all.size());
    QT::TrackReferenceMap video, audio, timecode;
    QT::GetExternalReferences(c.movie, video, audio, timecode);
    for (const QT::TrackReferenceMap* tracks : {&video, &audio, &timecode})
    {
        std::vector<std::u16string> resolved;
        Keep(QT::ResolveExternalReferences(c.widePath, *tracks, all, resolved) + resolved.size());
    }
    Keep(QT::ValidateExternalReferences(c.widePath, all));
}

// Writes four bytes into the movie when it has an sdtp: run last on a movie.
void Fixer(Context& c)
{
    Keep(QT::MakeFixer()->FixMovie(c.widePath));
}

struct Named
{
    const char* name;
    Operation run;
};

const std::vector<Named>& Operations()
{
    static const std::vector<Named> operations = {
        {"open", nullptr},
        {"movie", MovieFacts},
        {"userdata", UserData},
        {"metadata", Metadata},
        {"tracks", TrackFacts},
        {"descriptions", Descriptions},
        {"sampletable", SampleTable},
        {"sampletable-all", SampleTableAll},
        {"temporal", Temporal},
        {"dependency", Dependency},
        {"audio", Audio},
        {"timecode", Timecode},
        {"captions", Captions},
        {"references", References},
        {"fixer", Fixer},
    };
    return operations;
}

double Seconds(std::chrono::steady_clock::duration inDuration)
{
    return std::chrono::duration<double>(inDuration).count();
}

int Run(const std::string& inPath, const Named& inOperation)
{
    Context context;
    context.path = inPath;
    context.widePath = tenacore::string::UTF8to16(inPath);
    const uint64_t beforeOpen = PeakBytes();
    const double openCpu = CpuSeconds();
    const auto openStart = std::chrono::steady_clock::now();
    const uint32_t result = QT::MakeParser()->MakeMovie(context.widePath, context.movie);
    const double openSeconds = Seconds(std::chrono::steady_clock::now() - openStart);
    const double openCpuSeconds = CpuSeconds() - openCpu;
    const uint64_t afterOpen = PeakBytes();
    if (!inOperation.run)
    {
        // The loaded atom may be smaller (free atoms dropped) or larger (expanded) than the stored one.
        const uint64_t atom = std::max<uint64_t>(
            StoredMovieAtomSize(inPath), result == QT::kQTSuccess ? context.movie->GetMovieAtomSize() : 0);
        const uint64_t added = afterOpen - beforeOpen;
        std::printf("open\t%.4f\t%.4f\t%.1f\t0x%X\n", openSeconds, openCpuSeconds,
                    double(added > atom ? added - atom : 0) / 1048576.0, unsigned(result));
        return 0;
    }
    if (result != QT::kQTSuccess && std::strcmp(inOperation.name, "fixer") != 0)
    {
        std::printf("%s\t0\t0\t0\trefused 0x%X\n", inOperation.name, unsigned(result));
        return 0;
    }
    const double cpu = CpuSeconds();
    const auto start = std::chrono::steady_clock::now();
    inOperation.run(context);
    const double seconds = Seconds(std::chrono::steady_clock::now() - start);
    std::printf("%s\t%.4f\t%.4f\t%.1f\tok\n", inOperation.name, seconds, CpuSeconds() - cpu,
                double(PeakBytes() - afterOpen) / 1048576.0);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0)
    {
        for (const Named& operation : Operations())
            std::printf("%s\n", operation.name);
        return 0;
    }
    if (argc != 3)
    {
        std::fprintf(stderr, "usage: %s MOVIE OPERATION | --list\n", argv[0]);
        return 2;
    }
    // Asking a track of another kind is part of the run; its reports need not be printed.
    tenacore::debug::SetAssertHandler([](const char*, int, const char*, const char*, const std::string&)
                                      { return false; });
    for (const Named& operation : Operations())
    {
        if (operation.name != std::string(argv[2]))
            continue;
        try
        {
            return Run(argv[1], operation);
        }
        catch (const std::exception& inError)
        {
            std::printf("%s\t0\t0\t0\texception %s\n", operation.name, inError.what());
            return 1;
        }
    }
    std::fprintf(stderr, "no operation %s\n", argv[2]);
    return 2;
}
