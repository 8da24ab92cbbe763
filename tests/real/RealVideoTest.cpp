#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "IQTSifter.h"
#include "QTFourCC.h"
#include "QTResultCodes.h"
#include "RealMovieFixture.h"
#include "TestFiles.h"

using namespace qttest;
using tenacore::classref::InterfaceRef;

namespace
{

// ffprobe writes a fourcc's unprintable bytes as "[0]" and the like.
uint32_t FourCCFromProbe(const std::string& inText)
{
    uint32_t code = 0;
    int bytes = 0;
    for (size_t i = 0; i < inText.size(); ++i, ++bytes)
    {
        uint8_t byte = uint8_t(inText[i]);
        if (inText[i] == '[')
        {
            const size_t close = inText.find(']', i);
            EXPECT_NE(close, std::string::npos) << inText;
            byte = uint8_t(std::stoul(inText.substr(i + 1, close - i - 1)));
            i = close;
        }
        code = code << 8 | byte;
    }
    EXPECT_EQ(bytes, 4) << "not a four-character code: " << inText;
    return code;
}

// With signed composition offsets ffprobe moves its decode times back by the largest negative
// offset, so that no frame is presented before it is decoded; its presentation times stay as the file
// gives them. decode is the decode time counted from the first sample, as the sample table counts it.
struct Packet
{
    uint64_t pos = 0;
    uint32_t size = 0;
    int64_t pts = 0;
    int64_t decode = 0;
    int64_t duration = 0;
    bool key = false;
    bool discard = false;
};

// The packets of one stream, in the order in which ffprobe reads them: decode order.
std::vector<Packet> Packets(const nlohmann::json& inReport, int inStream)
{
    std::vector<Packet> packets;
    for (const nlohmann::json& packet : inReport.at("packets"))
    {
        if (packet.at("stream_index").get<int>() != inStream)
            continue;
        const std::string flags = packet.at("flags").get<std::string>();
        packets.push_back({uint64_t(FfprobeInteger(packet.at("pos"))),
                           uint32_t(FfprobeInteger(packet.at("size"))), FfprobeInteger(packet.at("pts")),
                           FfprobeInteger(packet.at("dts")), FfprobeInteger(packet.at("duration")),
                           flags.find('K') != std::string::npos, flags.find('D') != std::string::npos});
    }
    for (size_t i = packets.size(); i-- > 0;)
        packets[i].decode -= packets.front().decode;
    return packets;
}

// Whether ffprobe's trace log shows an atom of inType anywhere in the movie.
bool TraceShowsAtom(const std::string& inTrace, const std::string& inType)
{
    return inTrace.find("type:'" + inType + "'") != std::string::npos;
}

// The stream's edits as ffprobe applies them: where each starts in the media and how long it is, in
// media ticks, from the trace lines "Processing st: N, edit list E - media time: T, duration: D".
struct MediaEdit
{
    int64_t mediaTime = 0;
    int64_t duration = 0;
};

std::vector<MediaEdit> TracedMediaEdits(const std::string& inTrace, int inStream)
{
    std::vector<MediaEdit> edits;
    const std::string key = "Processing st: " + std::to_string(inStream) + ", edit list ";
    std::istringstream lines(inTrace);
    std::string line;
    while (std::getline(lines, line))
    {
        const size_t at = line.find(key);
        const size_t time = line.find("media time: ");
        const size_t duration = line.find(", duration: ");
        if (at == std::string::npos || time == std::string::npos || duration == std::string::npos)
            continue;
        edits.push_back({std::stoll(line.substr(time + 12)), std::stoll(line.substr(duration + 12))});
    }
    return edits;
}

// colr code points of the names that ffprobe prints.
const std::map<std::string, uint32_t> kPrimaries = {
    {"bt709", 1}, {"bt470bg", 5}, {"smpte170m", 6}, {"bt2020", 9}};
const std::map<std::string, uint32_t> kTransfers = {{"bt709", 1}, {"smpte170m", 6}, {"bt2020-10", 14}};
const std::map<std::string, uint32_t> kMatrices = {
    {"bt709", 1}, {"bt470bg", 5}, {"smpte170m", 6}, {"bt2020nc", 9}};

// The fiel atom's two bytes for ffprobe's field orders, as ffmpeg writes and reads them: one field for
// progressive; else two, with ordering 1 for top field first (tt), 6 for bottom field first (bb),
// 9 for top coded first but bottom shown first (tb) and 14 for the reverse (bt).
const std::map<std::string, std::pair<uint8_t, uint8_t>> kFieldInfo = {
    {"progressive", {1, 0}}, {"tt", {2, 1}}, {"bb", {2, 6}}, {"tb", {2, 9}}, {"bt", {2, 14}}};

class RealVideo : public RealMovieFixture, public ::testing::WithParamInterface<std::string>
{
public:
    static void SetUpTestSuite()
    {
        RealMovieFixture::SetUpTestSuite();
        sUneditedPackets.clear();
    }
    static void TearDownTestSuite()
    {
        sUneditedPackets.clear();
        RealMovieFixture::TearDownTestSuite();
    }

protected:
    void SetUp() override
    {
        Prepare(GetParam());
        if (IsSkipped() || HasFatalFailure())
            return;
        const nlohmann::json& probe = sMovies->Probe(*made);
        for (const nlohmann::json& candidate : probe.at("streams"))
            if (candidate.at("codec_type") == "video")
            {
                stream = candidate;
                break;
            }
        ASSERT_TRUE(stream.is_object()) << "no video stream";
        streamIndex = stream.at("index").get<int>();
        trace = &sMovies->ProbeTrace(*made);
        const Opened opened = OpenPath(made->WidePath());
        ASSERT_EQ(opened.result, QT::kQTSuccess) << QT::ResultCodeName(opened.result);
        movie = opened.movie;
        ASSERT_GT(movie->GetTrackCount(), uint32_t(streamIndex));
        movie->GetIndTrack(track, uint64_t(streamIndex));
        ASSERT_TRUE(track);
        ASSERT_EQ(QT::FourCCText(track->GetTrackMediaType()), "vide");
        unedited = &UneditedPackets();
        ASSERT_FALSE(unedited->empty()) << "ffprobe lists no video packets";
    }

    // The video packets with the edit lists ignored: every sample of the track, in decode order.
    const std::vector<Packet>& UneditedPackets()
    {
        auto found = sUneditedPackets.find(made->recipe);
        if (found != sUneditedPackets.end())
            return found->second;
        const CommandResult run = RunCommand({"ffprobe", "-v", "error", "-ignore_editlist", "1",
                                              "-print_format", "json", "-show_packets", "-select_streams",
                                              std::to_string(streamIndex), made->path.string()});
        EXPECT_TRUE(run.Succeeded()) << run.err;
        std::vector<Packet> packets;
        if (run.Succeeded())
            packets = Packets(nlohmann::json::parse(run.out), streamIndex);
        return sUneditedPackets.emplace(made->recipe, std::move(packets)).first->second;
    }

    QT::VideoSampleTable AllSamples()
    {
        QT::VideoSampleTable samples;
        EXPECT_EQ(track->MakeVideoSampleTable(false, true, samples, nullptr), QT::kQTSuccess);
        return samples;
    }

    // The video track's trak and its children, by the test's own scan of the file.
    std::optional<std::pair<FileAtom, std::vector<FileAtom>>> VideoTrakChildren() const
    {
        std::vector<FileAtom> traks;
        for (const FileAtom& child : ScanChildren(bytes, moov))
            if (child.type == Code("trak"))
                traks.push_back(child);
        if (traks.size() <= size_t(streamIndex))
            return std::nullopt;
        const FileAtom& trak = traks[size_t(streamIndex)];
        return std::make_pair(trak, ScanChildren(bytes, trak));
    }

    // The payload (behind size and type) of the video track's sample table atom inType.
    std::optional<Bytes> SampleTableAtom(uint32_t inType) const
    {
        const auto trak = VideoTrakChildren();
        if (!trak)
            return std::nullopt;
        std::optional<FileAtom> atom = trak->first;
        for (uint32_t type : {Code("mdia"), Code("minf"), Code("stbl"), inType})
        {
            atom = FindAtom(ScanChildren(bytes, *atom), type);
            if (!atom)
                return std::nullopt;
        }
        return Bytes(bytes.begin() + int64_t(atom->start + atom->headerSize),
                     bytes.begin() + int64_t(atom->End()));
    }

    static inline std::map<std::string, std::vector<Packet>> sUneditedPackets;
    nlohmann::json stream;
    int streamIndex = -1;
    const std::string* trace = nullptr;
    const std::vector<Packet>* unedited = nullptr;
    InterfaceRef<QT::IQTMovie> movie;
    InterfaceRef<QT::IQTTrack> track;
};

TEST_P(RealVideo, SampleTableIgnoringEditsIsFfprobesPacketList)
{
    QT::VideoSampleTable samples;
    bool variable = true;
    ASSERT_EQ(track->MakeVideoSampleTable(false, true, samples, &variable), QT::kQTSuccess);
    ASSERT_EQ(samples.size(), unedited->size());
    bool uniform = true;
    for (size_t i = 0; i < samples.size(); ++i)
    {
        SCOPED_TRACE("sample " + std::to_string(i));
        const Packet& packet = (*unedited)[i];
        EXPECT_EQ(samples[i].fileOffset, packet.pos);
        EXPECT_EQ(samples[i].size, packet.size);
        EXPECT_EQ(samples[i].isSync, packet.key);
        EXPECT_EQ(int64_t(samples[i].startTime), packet.decode);
        EXPECT_EQ(int64_t(samples[i].duration), packet.duration);
        uniform = uniform && packet.duration == unedited->front().duration;
    }
    EXPECT_EQ(variable, !uniform);

    // A limit keeps the first records of the same list.
    QT::VideoSampleTable firstTwo;
    ASSERT_EQ(track->MakeVideoSampleTable(false, true, 2, firstTwo, nullptr), QT::kQTSuccess);
    ASSERT_EQ(firstTwo.size(), std::min<size_t>(2, samples.size()));
    for (size_t i = 0; i < firstTwo.size(); ++i)
    {
        EXPECT_EQ(firstTwo[i].fileOffset, samples[i].fileOffset);
        EXPECT_EQ(firstTwo[i].size, samples[i].size);
    }
}

// The edit's start is a presentation time. The track maps it into decode time by the earliest
// presentation among the first frames, which in these movies is the first frame's, and keeps the
// samples from the one that holds that decode time, the first of them shortened to what the edit
// leaves of it. In every recipe here the edit, so mapped, runs to the end of the media, so all
// samples from there on are kept and their durations add up to the edit's length. Each frame that
// ffprobe presents inside the edit (the packets it does not mark as discarded) must be among them;
// the trimmed copy also keeps the key frame before the edit, which ffprobe decodes but discards.
TEST_P(RealVideo, SampleTableWithinTheEditStartsAtTheEdit)
{
    const QT::VideoSampleTable all = AllSamples();
    ASSERT_EQ(all.size(), unedited->size());
    QT::VideoSampleTable kept;
    ASSERT_EQ(track->MakeVideoSampleTable(false, false, kept, nullptr), QT::kQTSuccess);
    ASSERT_FALSE(kept.empty());

    const std::vector<MediaEdit> edits = TracedMediaEdits(*trace, streamIndex);
    ASSERT_EQ(edits.size(), 1u) << "ffmpeg writes one edit per track";
    const MediaEdit& edit = edits.front();
    const Packet& firstPacket = unedited->front();
    for (size_t i = 0; i < std::min<size_t>(21, unedited->size()); ++i)
        ASSERT_GE((*unedited)[i].pts, firstPacket.pts) << "the first frame is not the first presented";
    const int64_t start = std::max<int64_t>(0, edit.mediaTime - firstPacket.pts);
    size_t first = 0;
    while (first < unedited->size() && (*unedited)[first].decode + (*unedited)[first].duration <= start)
        ++first;
    ASSERT_LT(first, unedited->size()) << "the edit starts past the media";
    const Packet& last = unedited->back();
    ASSERT_EQ(start + edit.duration, last.decode + last.duration)
        << "the edit should run to the end of the media";

    ASSERT_EQ(kept.size(), unedited->size() - first);
    uint64_t expectedStart = 0;
    for (size_t i = 0; i < kept.size(); ++i)
    {
        SCOPED_TRACE("kept record " + std::to_string(i));
        EXPECT_EQ(kept[i].fileOffset, all[first + i].fileOffset);
        EXPECT_EQ(kept[i].size, all[first + i].size);
        EXPECT_EQ(kept[i].isSync, all[first + i].isSync);
        EXPECT_EQ(kept[i].startTime, expectedStart);
        expectedStart += kept[i].duration;
    }
    EXPECT_EQ(int64_t(kept.front().duration),
              (*unedited)[first].decode + (*unedited)[first].duration - start);
    EXPECT_EQ(int64_t(expectedStart), edit.duration);

    if (edit.mediaTime <= firstPacket.pts)
    {
        // The edit starts at the first frame (the composition delay, or 0): nothing is cut.
        EXPECT_EQ(first, 0u);
        EXPECT_EQ(kept.front().duration, all.front().duration);
        return;
    }
    std::set<uint64_t> keptOffsets;
    for (const QT::VideoSampleRecord& record : kept)
        keptOffsets.insert(record.fileOffset);
    size_t presented = 0;
    for (const Packet& packet : Packets(sMovies->ProbePackets(*made), streamIndex))
    {
        if (packet.discard)
            continue;
        ++presented;
        EXPECT_TRUE(keptOffsets.count(packet.pos)) << "ffprobe presents the packet at " << packet.pos;
    }
    EXPECT_LE(presented, kept.size());
    if (GetParam() == "h264_trimmed")
    {
        // The copy begins at the key frame before 0.5 s and the edit at 0.5 s: that frame's sample
        // is kept, shortened, and ffprobe presents one frame fewer.
        EXPECT_EQ(first, 0u);
        EXPECT_TRUE(kept.front().isSync);
        EXPECT_LT(int64_t(kept.front().duration), firstPacket.duration);
        EXPECT_EQ(presented + 1, kept.size());
    }
    else
        ADD_FAILURE() << "only the trimmed copy should start its edit past its first frame";
}

TEST_P(RealVideo, ImageDescriptionAgreesWithFfprobe)
{
    EXPECT_EQ(QT::FourCCText(track->GetVideoMediaCompressionFourCC(0)),
              stream.at("codec_tag_string").get<std::string>());
    EXPECT_EQ(track->GetVideoMediaWidth(0), stream.at("width").get<int32_t>());
    EXPECT_EQ(track->GetVideoMediaHeight(0), stream.at("height").get<int32_t>());
    ASSERT_TRUE(stream.contains("tags") && stream.at("tags").contains("vendor_id"));
    EXPECT_EQ(track->GetVideoMediaVendorFourCC(0),
              FourCCFromProbe(stream.at("tags").at("vendor_id").get<std::string>()));
}

// ffprobe reads field order, pixel aspect and colour from the extension atoms when they are there,
// but falls back on the decoder's view when they are not; so each value is compared where the trace
// shows its atom, and otherwise the library must report the extension absent.
TEST_P(RealVideo, FieldAspectAndColourAgreeWithFfprobe)
{
    uint8_t fieldCount = 0xEE, fieldOrdering = 0xEE;
    const uint32_t fieldResult = track->GetVideoMediaFieldInfo(0, fieldCount, fieldOrdering);
    if (TraceShowsAtom(*trace, "fiel"))
    {
        const std::string order = stream.at("field_order").get<std::string>();
        const auto expected = kFieldInfo.find(order);
        ASSERT_NE(expected, kFieldInfo.end()) << "unmapped field order " << order;
        ASSERT_EQ(fieldResult, QT::kQTSuccess) << QT::ResultCodeName(fieldResult);
        EXPECT_EQ(fieldCount, expected->second.first) << order;
        EXPECT_EQ(fieldOrdering, expected->second.second) << order;
    }
    else
        EXPECT_EQ(fieldResult, QT::kQTErrNoSuchExtension);

    uint32_t horizontal = 0, vertical = 0;
    const uint32_t aspectResult = track->GetVideoMediaPixelAspect(0, horizontal, vertical);
    if (TraceShowsAtom(*trace, "pasp"))
    {
        ASSERT_EQ(aspectResult, QT::kQTSuccess) << QT::ResultCodeName(aspectResult);
        const std::string ratio = stream.at("sample_aspect_ratio").get<std::string>();
        const size_t colon = ratio.find(':');
        ASSERT_NE(colon, std::string::npos) << ratio;
        EXPECT_EQ(horizontal, std::stoul(ratio.substr(0, colon))) << ratio;
        EXPECT_EQ(vertical, std::stoul(ratio.substr(colon + 1))) << ratio;
    }
    else
        EXPECT_EQ(aspectResult, QT::kQTErrNoSuchExtension);

    uint32_t primaries = 0, transfer = 0, matrix = 0;
    const uint32_t colourResult = track->GetVideoMediaColorInfo(0, primaries, transfer, matrix);
    if (TraceShowsAtom(*trace, "colr"))
    {
        // ffmpeg's movie writer gives colr the nclc form, which is the one the library reads.
        ASSERT_EQ(colourResult, QT::kQTSuccess) << QT::ResultCodeName(colourResult);
        const auto lookUp = [this](const std::map<std::string, uint32_t>& inCodes, const char* inKey)
        {
            const std::string name = stream.value(inKey, "unknown");
            const auto found = inCodes.find(name);
            EXPECT_NE(found, inCodes.end()) << inKey << " " << name << " is not mapped";
            return found == inCodes.end() ? 0xFFFFFFFFu : found->second;
        };
        EXPECT_EQ(primaries, lookUp(kPrimaries, "color_primaries"));
        EXPECT_EQ(transfer, lookUp(kTransfers, "color_transfer"));
        EXPECT_EQ(matrix, lookUp(kMatrices, "color_space"));
    }
    else
        EXPECT_EQ(colourResult, QT::kQTErrNoSuchExtension);
}

// ffmpeg writes tapt for a picture with non-square pixels: the clean and production apertures are
// the display size, the width scaled by the pixel aspect and rounded to a whole pixel, and the
// encoded pixels are the coded size. It puts tapt behind mdia, as the last child of trak, and the
// track reads its aperture atoms only between tkhd and mdia; so the movie as written reports none,
// and a copy with tapt moved up behind tkhd reports the sizes. Moving a child of trak changes no atom
// size and, with moov behind the media, no sample offset.
TEST_P(RealVideo, TrackApertureAgreesWithFfprobe)
{
    struct Aperture
    {
        bool clean = false, production = false, encoded = false;
        float cleanWidth = -1, cleanHeight = -1, productionWidth = -1, productionHeight = -1;
        float encodedWidth = -1, encodedHeight = -1;
    };
    const auto read = [](QT::IQTTrack& inTrack)
    {
        Aperture aperture;
        aperture.clean = inTrack.GetTrackCleanApertureDimensions(aperture.cleanWidth, aperture.cleanHeight);
        aperture.production =
            inTrack.GetTrackProductionApertureDimensions(aperture.productionWidth, aperture.productionHeight);
        aperture.encoded =
            inTrack.GetTrackEncodedPixelsDimensions(aperture.encodedWidth, aperture.encodedHeight);
        return aperture;
    };
    const Aperture asWritten = read(*track);
    const auto trak = VideoTrakChildren();
    ASSERT_TRUE(trak);
    const auto tapt = FindAtom(trak->second, Code("tapt"));
    if (!tapt)
    {
        EXPECT_FALSE(TraceShowsAtom(*trace, "tapt")) << "the test's scan missed the tapt that ffprobe saw";
        EXPECT_FALSE(asWritten.clean || asWritten.production || asWritten.encoded);
        return;
    }
    const auto mdia = FindAtom(trak->second, Code("mdia"));
    const auto mdat = FindAtom(topLevel, Code("mdat"));
    ASSERT_TRUE(mdia && mdat);
    ASSERT_GT(tapt->start, mdia->start) << "ffmpeg should write tapt behind mdia";
    EXPECT_FALSE(asWritten.clean || asWritten.production || asWritten.encoded);
    ASSERT_GT(moov.start, mdat->start) << "moving atoms inside moov would move the media";
    ASSERT_EQ(trak->second.front().type, Code("tkhd"));

    Bytes moved(bytes.begin(), bytes.begin() + int64_t(trak->first.start + trak->first.headerSize));
    const auto append = [&](const FileAtom& inAtom) {
        moved.insert(moved.end(), bytes.begin() + int64_t(inAtom.start),
                     bytes.begin() + int64_t(inAtom.End()));
    };
    append(trak->second.front());
    append(*tapt);
    for (size_t i = 1; i < trak->second.size(); ++i)
        if (trak->second[i].start != tapt->start)
            append(trak->second[i]);
    ASSERT_EQ(moved.size(), trak->first.End());
    moved.insert(moved.end(), bytes.begin() + int64_t(trak->first.End()), bytes.end());
    TempFile file(moved);

    const nlohmann::json reprobed = Ffprobe(file.Path()).at("streams").at(size_t(streamIndex));
    EXPECT_EQ(reprobed.at("display_aspect_ratio"), stream.at("display_aspect_ratio"))
        << "ffprobe reads the copy";
    const Opened opened = OpenPath(file.WidePath());
    ASSERT_EQ(opened.result, QT::kQTSuccess) << QT::ResultCodeName(opened.result);
    InterfaceRef<QT::IQTTrack> movedTrack;
    opened.movie->GetIndTrack(movedTrack, uint64_t(streamIndex));
    ASSERT_TRUE(movedTrack);
    const Aperture aperture = read(*movedTrack);
    ASSERT_TRUE(aperture.clean && aperture.production && aperture.encoded);

    const double width = stream.at("width").get<double>();
    const double height = stream.at("height").get<double>();
    const std::string ratio = stream.at("display_aspect_ratio").get<std::string>();
    const size_t colon = ratio.find(':');
    ASSERT_NE(colon, std::string::npos) << ratio;
    const double displayWidth =
        height * std::stod(ratio.substr(0, colon)) / std::stod(ratio.substr(colon + 1));
    EXPECT_NEAR(aperture.cleanWidth, displayWidth, 0.5) << ratio;
    EXPECT_EQ(aperture.cleanWidth, std::round(aperture.cleanWidth)) << "ffmpeg writes whole pixels";
    EXPECT_EQ(aperture.cleanHeight, float(height));
    EXPECT_EQ(aperture.productionWidth, aperture.cleanWidth);
    EXPECT_EQ(aperture.productionHeight, aperture.cleanHeight);
    EXPECT_EQ(aperture.encodedWidth, float(width));
    EXPECT_EQ(aperture.encodedHeight, float(height));
}

TEST_P(RealVideo, DependencyQueriesAgreeWithTheKeyFrames)
{
    const bool hasDelta =
        std::any_of(unedited->begin(), unedited->end(), [](const Packet& inPacket) { return !inPacket.key; });
    EXPECT_EQ(track->VideoTrackContainsDeltaFrames(), hasDelta);
    const bool sdtp = TraceShowsAtom(*trace, "sdtp");
    EXPECT_EQ(track->VideoTrackHasDependencyTables(), sdtp && TraceShowsAtom(*trace, "ctts"));
    // ffmpeg marks its sync samples in sdtp as depending on no other.
    EXPECT_EQ(track->VideoTrackContainsIndependentSamples(), sdtp);
    if (GetParam().starts_with("hevc"))
    {
        EXPECT_TRUE(track->VideoTrackHasDependencyTables()) << "ffmpeg writes sdtp and ctts for HEVC";
    }
}

// The table places each frame at its composition offset in frames from its decode index: at its
// presentation time over the frame duration, with the presentation times that ffprobe reports when
// it ignores the edits. Where the first frame is presented at 0 (signed offsets) that is its rank in
// ffprobe's presentation order and every record is written once. Where the composition delay is
// kept as an edit, the places are shifted by the delay in frames: the first records are never
// written and the last frames fall outside the table, yet their count makes up the total, so the run
// still succeeds. A frame outside the table writes nothing, not even its flags; a record that is not
// written keeps what the vector held. dependencyFlags is the frame's sdtp byte by decode index,
// which ffmpeg sets to 0x20 (depends on no other) for a key frame and to 0x10 (depends on others)
// for the rest, plus 0x08 for a frame that no other needs.
TEST_P(RealVideo, TemporalReferencesFollowFfprobesPresentationOrder)
{
    const QT::VideoTemporalReference held{55, 66, 77, 0x99};
    std::vector<QT::VideoTemporalReference> table(1, held);
    const auto same = [](const QT::VideoTemporalReference& inA, const QT::VideoTemporalReference& inB)
    {
        return inA.decodeOffset == inB.decodeOffset && inA.backwardReference == inB.backwardReference &&
               inA.forwardReference == inB.forwardReference;
    };
    const uint32_t result = track->MakeVideoTemporalReferenceTable(table);
    if (!track->VideoTrackHasDependencyTables())
    {
        EXPECT_EQ(result, QT::kQTErrBadSampleTable);
        ASSERT_EQ(table.size(), 1u) << "the table should be left alone";
        EXPECT_TRUE(same(table[0], held));
        EXPECT_EQ(table[0].dependencyFlags, held.dependencyFlags);
        return;
    }
    ASSERT_EQ(result, QT::kQTSuccess) << QT::ResultCodeName(result);
    const size_t count = unedited->size();
    ASSERT_EQ(table.size(), count);
    const std::optional<Bytes> sdtp = SampleTableAtom(Code("sdtp"));
    ASSERT_TRUE(sdtp) << "no sdtp found in the file";
    ASSERT_GE(sdtp->size(), 4 + count) << "sdtp holds fewer bytes than samples";

    const int64_t frameDuration = unedited->front().duration;
    ASSERT_GT(frameDuration, 0);
    std::vector<int64_t> presentation;
    for (const Packet& packet : *unedited)
    {
        ASSERT_EQ(packet.duration, frameDuration) << "the table assumes one frame duration";
        ASSERT_EQ(packet.pts % frameDuration, 0) << packet.pts;
        presentation.push_back(packet.pts / frameDuration);
    }
    std::vector<int64_t> ranked = presentation;
    std::sort(ranked.begin(), ranked.end());
    const int64_t delay = ranked.front();
    for (size_t rank = 0; rank < count; ++rank)
        ASSERT_EQ(ranked[rank], delay + int64_t(rank)) << "presentation times are not one frame apart";
    if (GetParam() == "hevc_bframes")
    {
        EXPECT_GT(delay, 0) << "the composition delay should be kept as an edit";
    }
    if (GetParam() == "hevc_bframes_negative_cts")
    {
        EXPECT_EQ(delay, 0) << "signed offsets should present the first frame at 0";
    }

    std::vector<bool> written(count, false);
    for (size_t decode = 0; decode < count; ++decode)
    {
        SCOPED_TRACE("decode index " + std::to_string(decode));
        const uint8_t flags = (*sdtp)[4 + decode];
        EXPECT_EQ(flags & 0x30, (*unedited)[decode].key ? 0x20 : 0x10);
        EXPECT_EQ(track->IsVideoSampleReferenced(uint32_t(decode)), (flags & 0x08) == 0);
        const int64_t place = presentation[decode];
        if (place >= int64_t(count))
        {
            EXPECT_EQ(table[decode].dependencyFlags, decode == 0 ? held.dependencyFlags : 0);
            continue;
        }
        EXPECT_EQ(table[decode].dependencyFlags, flags);
        written[size_t(place)] = true;
        EXPECT_EQ(table[size_t(place)].decodeOffset, int8_t(int64_t(decode) - place)) << "place " << place;
    }
    for (size_t place = 0; place < count; ++place)
    {
        if (written[place])
            continue;
        EXPECT_LT(int64_t(place), delay) << "place " << place << " was not written";
        EXPECT_TRUE(same(table[place], place == 0 ? held : QT::VideoTemporalReference{}))
            << "place " << place;
    }
    if (delay == 0)
    {
        // Every place is written once, so display index plus decodeOffset is a permutation.
        std::vector<int64_t> decodeOfPlace;
        for (size_t place = 0; place < count; ++place)
            decodeOfPlace.push_back(int64_t(place) + table[place].decodeOffset);
        std::sort(decodeOfPlace.begin(), decodeOfPlace.end());
        for (size_t i = 0; i < count; ++i)
            EXPECT_EQ(decodeOfPlace[i], int64_t(i));
    }
}

INSTANTIATE_TEST_SUITE_P(Recipes, RealVideo,
                         ::testing::Values("h264_pcm_timecode", "h264_trimmed", "hevc_bframes",
                                           "hevc_bframes_negative_cts", "prores_interlaced_tt",
                                           "prores_interlaced_bb", "mjpeg"),
                         [](const ::testing::TestParamInfo<std::string>& inInfo) { return inInfo.param; });

} // namespace
