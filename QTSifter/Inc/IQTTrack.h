#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "MK/BinaryData.h"
#include "QTAudio.h"
#include "QTCaption.h"
#include "QTExport.h"
#include "QTRect.h"
#include "QTTimecode.h"
#include "QTVideo.h"
#include "tenacore/classref.h"

namespace QT
{

// One track of a movie. Sample and description indices are 0-based. Media-specific operations
// join the interface in their places as each kind of media is supported.
class QTSIFTER_INTERFACE IQTTrack : public tenacore::classref::Unknown
{
public:
    // Place of this track in the movie.
    virtual uint64_t GetTrackIndex() = 0;
    // The handler subtype mapped to the supported kinds: "vide", "soun", "tmcd" (also for "tc64"),
    // "text", "meta", "clcp", "auxv"; any other is "unkn".
    virtual uint32_t GetTrackMediaType() = 0;
    // 0, 0, width, height from the track header, in whole pixels.
    virtual QTRect GetTrackBounds() = 0;
    virtual bool IsTrackEnabled() = 0;
    // In movie ticks, from the track header.
    virtual uint32_t GetTrackDuration() = 0;
    virtual uint32_t GetMediaTimeScale() = 0;
    // The span the edit list keeps, in movie ticks.
    virtual uint64_t GetEditedTrackDuration() = 0;
    virtual uint32_t GetSampleDescriptionCount() = 0;
    // Whether every description has the format, width, height and depth of the first.
    virtual bool GetAllSampleDescriptionsEquivalent() = 0;
    // The same for a video track, also requiring equal entry sizes unless inIgnoreEntrySize.
    virtual bool GetAllImageDescriptionsEquivalent(bool inIgnoreEntrySize) = 0;
    // Samples inside the edited span.
    virtual uint32_t GetEditedSampleCount() = 0;
    // The track header's duration in media ticks.
    virtual uint64_t GetTrackDurationInMediaTime() = 0;
    // The track aperture dimensions of tapt, in pixels; false when the atom is absent.
    virtual bool GetTrackCleanApertureDimensions(float& outWidth, float& outHeight) = 0;
    virtual bool GetTrackProductionApertureDimensions(float& outWidth, float& outHeight) = 0;
    virtual bool GetTrackEncodedPixelsDimensions(float& outWidth, float& outHeight) = 0;
    // Whether the edit list is simple enough to honour: no edit, one edit (of unit rate when
    // inRequireUnitRate), or two edits that together cover the track.
    virtual bool IsEditListSupported(bool inRequireUnitRate) = 0;
    virtual bool IsTrackEdited() = 0;
    // The first sample that the edit keeps.
    virtual uint32_t GetFirstSampleIndex() = 0;
    virtual bool VideoTrackHasVariableFrameRate() = 0;
    // For sound: how much longer the first sample is than the others.
    virtual uint32_t GetFirstSampleExcess() = 0;

    // Image descriptions of a video track, by description index. On another kind of track each
    // violates the contract and gives 0 (the fourccs and sizes) or 0xFFFFFFFF.
    virtual uint32_t GetVideoMediaCompressionFourCC(int32_t inIndex) = 0;
    virtual uint32_t GetVideoMediaVendorFourCC(int32_t inIndex) = 0;
    virtual int32_t GetVideoMediaWidth(int32_t inIndex) = 0;
    virtual int32_t GetVideoMediaHeight(int32_t inIndex) = 0;
    virtual uint16_t GetVideoMediaDepth(int32_t inIndex) = 0;
    // The clap fractions: aperture width, aperture height, horizontal and vertical offset.
    virtual uint32_t GetVideoMediaCleanAperture(int32_t inIndex, uint32_t& outWidthN, uint32_t& outWidthD,
                                                uint32_t& outHeightN, uint32_t& outHeightD,
                                                uint32_t& outHorizontalOffsetN,
                                                uint32_t& outHorizontalOffsetD, uint32_t& outVerticalOffsetN,
                                                uint32_t& outVerticalOffsetD) = 0;
    virtual uint32_t GetVideoMediaPixelAspect(int32_t inIndex, uint32_t& outHorizontal,
                                              uint32_t& outVertical) = 0;
    virtual uint32_t GetVideoMediaCodecName(int32_t inIndex, std::u16string& outName) = 0;
    virtual uint32_t GetVideoMediaQuality(int32_t inIndex, uint32_t& outTemporal, uint32_t& outSpatial) = 0;
    virtual uint32_t GetVideoMediaFieldInfo(int32_t inIndex, uint8_t& outFieldCount,
                                            uint8_t& outFieldOrdering) = 0;
    virtual uint32_t GetVideoMediaColorInfo(int32_t inIndex, uint32_t& outPrimaries,
                                            uint32_t& outTransferFunction, uint32_t& outMatrix) = 0;
    // The payload of extension atom inType, in file byte order.
    virtual uint32_t GetVideoMediaArbitraryImageDescriptionExtensionAsBinary(int32_t inIndex, uint32_t inType,
                                                                             MK::BinaryData& outData) = 0;
    // The whole description as it stands in the file.
    virtual uint32_t GetVideoMediaImageDescriptionAsBinary(int32_t inIndex, MK::BinaryData& outData) = 0;
    // The whole description with its header and the pasp, clap and colr payloads in host byte order;
    // the extension atoms' own sizes and types stay big-endian.
    virtual uint32_t GetVideoMediaImageDescriptionAsPlatformBinary(int32_t inIndex,
                                                                   MK::BinaryData& outData) = 0;

    // Each video sample's offset, size, time and sync state, appended to outSamples, trimmed to the
    // edit unless inIgnoreEdits; at most inMaxSamples records are kept.
    virtual uint32_t MakeVideoSampleTable(bool inSort, bool inIgnoreEdits, uint32_t inMaxSamples,
                                          VideoSampleTable& outSamples, bool* outHasVariableDuration) = 0;
    virtual uint32_t MakeVideoSampleTable(bool inSort, bool inIgnoreEdits, VideoSampleTable& outSamples,
                                          bool* outHasVariableDuration) = 0;
    // Whether some samples are not sync samples.
    virtual bool VideoTrackContainsDeltaFrames() = 0;
    // Whether sdtp and ctts are both present.
    virtual bool VideoTrackHasDependencyTables() = 0;
    virtual bool VideoTrackContainsIndependentSamples() = 0;
    // False only when sdtp says that no other sample depends on this one.
    virtual bool IsVideoSampleReferenced(uint32_t inSampleIndex) = 0;
    // Decode order and references of every frame, by display order.
    virtual uint32_t MakeVideoTemporalReferenceTable(std::vector<VideoTemporalReference>& outTable) = 0;

    // Sound descriptions of an audio track, by description index. On another kind of track each
    // violates the contract and raises. An index with no description gives 0, "unkn" or false.
    virtual uint32_t GetAudioMediaSampleRate(uint32_t inIndex) = 0;
    virtual int16_t GetAudioMediaNumChannels(uint32_t inIndex) = 0;
    virtual int16_t GetAudioMediaBitsPerSample(uint32_t inIndex) = 0;
    // The bits a sample occupies, which may be more than it carries.
    virtual uint32_t GetAudioMediaPackedBitsPerSample(uint32_t inIndex) = 0;
    // One of the twelve uncompressed formats ("raw ", "twos", "16be", "16le", "in24", "42ni",
    // "in32", "23ni", "fl32", "23lf", "fl64", "46lf"), "unkn", or a compressed format as it stands.
    virtual uint32_t GetAudioMediaDataFormat(uint32_t inIndex) = 0;
    virtual bool IsAudioMediaUncompressed(uint32_t inIndex) = 0;
    // The format as the file names it.
    virtual uint32_t GetAudioMediaRawDataFormat(uint32_t inIndex) = 0;
    // The edited span of a track of constant-size frames as runs of frames in the file, added to
    // outMap under their file offset or their position.
    virtual uint32_t MakeAudioSampleRangeMap(AudioSampleRangeMap& outMap, bool inKeyByFileOffset) = 0;
    // For left, right, centre, LFE, left and right surround, the file channel that holds each.
    virtual bool GetMultiChannelMap(uint32_t inIndex, std::vector<int32_t>& outMap, bool& outUnsupported) = 0;

    // Timecode media. Results are 0, or -1 where a value cannot be had. The description's counting
    // rules and its source name ("name" atom); the name is emptied first, and the info is left
    // alone when there is no description.
    virtual int32_t GetTimecodeMediaInfo(TimecodeMediaInfo& outInfo, std::u16string& outSourceName) = 0;
    // The 32-bit sample held by a "hndl" data reference, with no file read.
    virtual int32_t GetTimecodeMediaHandleSample(int64_t& outSample) = 0;
    // Where the track's first sample lies in the media file. On another kind of track it violates
    // the contract and raises.
    virtual int32_t GetTimecodeMediaSampleLocation(int64_t& outFileOffset, uint32_t& outSize) = 0;
    // The frame number that the sample's bytes hold ("tc64": 64 bits, else 32 bits, signed),
    // moved on by the frames the first edit skips.
    virtual int32_t GetTimecodeMediaFrameNumber(MK::BinaryData inSampleData, const TimecodeMediaInfo& inInfo,
                                                int64_t& outFrameNumber) = 0;

    // Closed captions. Every caption of the track inside its edit, as byte ranges of the media file
    // at inPath with their times, added to outMap under their file offset or their time; a key
    // already there keeps its entry. Reads 8 bytes of the file once, to tell how CEA-608 samples
    // are framed.
    virtual uint32_t MakeCaptionSampleMap(const std::u16string& inPath, CaptionSampleMap& outMap,
                                          bool inKeyByFileOffset) = 0;
    // "c608", "c708", or "unkn".
    virtual uint32_t GetCaptionMediaDataFormat(int32_t inIndex) = 0;
    // The duration of one caption frame in media ticks: the common divisor of the sample
    // durations, or one NTSC frame.
    virtual uint32_t GetCaptionMediaFrameDuration() = 0;

    // The track's own user data item of inType.
    virtual bool GetUserDataItem(uint32_t inType, MK::BinaryData& outData) = 0;
    // The type of the track's only data reference, or "????".
    virtual uint32_t GetDataReferenceType() = 0;
    virtual bool HasSingleDataReference() = 0;
    virtual bool HasIdentityTransform() = 0;
    virtual bool HasUnscaledTransform() = 0;
    virtual bool HasRightAngleTransform() = 0;
    // The quarter turn of the track matrix, 0 to 3: 1 for (a, b, c, d) = (0, -1, 1, 0), 2 for a half
    // turn, 3 for (0, 1, -1, 0); 0 for any other matrix.
    virtual uint32_t GetTrackRotation() = 0;
};

} // namespace QT
