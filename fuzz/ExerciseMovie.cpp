#include "ExerciseMovie.h"

#include "ExerciseReferences.h"
#include "ExerciseTrack.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <variant>

#include "MK/BinaryData.h"
#include "QTFourCC.h"
#include "QTMetadata.h"
#include "QTRect.h"
#include "tenacore/allocator.h"

namespace qtfuzz
{

namespace
{

// Keeps a hostile movie's thousands of tracks or items from slowing every run to a crawl.
constexpr uint64_t kMaxItems = 256;

// The answers are folded into a sink that the optimiser cannot drop.
volatile uint64_t gSink = 0;

void Keep(uint64_t inValue)
{
    gSink = gSink + inValue;
}

void Keep(const MK::BinaryData& inData)
{
    Keep(inData.GetSize());
    if (inData.GetSize() > 0)
        Keep(inData.GetData()[0] + inData.GetData()[inData.GetSize() - 1]);
}

void Keep(const QT::MetadataValue& inValue)
{
    Keep(uint64_t(inValue.typeCode));
    std::visit(
        [](const auto& inHeld)
        {
            using Held = std::decay_t<decltype(inHeld)>;
            if constexpr (std::is_same_v<Held, MK::BinaryData>)
                Keep(inHeld);
            else if constexpr (std::is_same_v<Held, std::string> || std::is_same_v<Held, std::u16string>)
                Keep(inHeld.size());
            else
                Keep(uint64_t(inHeld != 0));
        },
        inValue.value);
}

void ExerciseMetadata(QT::IQTMovie& inMovie)
{
    QT::MetadataMap items;
    inMovie.GetMetadataItems(items);
    uint64_t asked = 0;
    for (const auto& [key, item] : items)
    {
        if (++asked > kMaxItems)
            break;
        Keep(item);
        QT::MetadataValue value;
        if (inMovie.GetMetadataValue(key, value))
            Keep(value);
        uint32_t offset = 0;
        if (inMovie.GetMetadataValueOffset(key, offset))
            Keep(offset);
    }
    for (const char* key : {"", "title", "\251nam"})
    {
        QT::MetadataValue value;
        if (inMovie.GetMetadataValue(key, value))
            Keep(value);
        uint32_t offset = 0;
        if (inMovie.GetMetadataValueOffset(key, offset))
            Keep(offset);
    }
}

void ExerciseUUIDAtoms(QT::IQTMovie& inMovie)
{
    std::array<std::array<uint8_t, 16>, 2> identifiers{};
    // The identifier of the first uuid child, when there is one, so that the copy is made.
    MK::BinaryData first;
    if (inMovie.GetMovieChildAtom(QT::kUuidAtom, first) == 0 && first.GetSize() >= 16)
        std::memcpy(identifiers[1].data(), first.GetData(), 16);
    for (const auto& identifier : identifiers)
    {
        for (const bool stripHeader : {false, true})
        {
            std::shared_ptr<tenacore::allocator::RecycledMemory> buffer;
            inMovie.GetUUIDAtom(buffer, identifier, stripHeader);
            if (buffer && buffer->GetSize() > 0)
                Keep(buffer->GetData()[0] + buffer->GetData()[buffer->GetSize() - 1]);
        }
    }
}

} // namespace

void ExerciseMovie(QT::IQTMovie& inMovie)
{
    Keep(inMovie.GetMovieTimeScale());
    Keep(uint64_t(inMovie.GetMovieDuration()));
    Keep(inMovie.GetMoviePosterTime());
    Keep(inMovie.GetMovieAtomSize());
    Keep(inMovie.GetMovieAtomOffset());

    QT::QTRect bounds;
    inMovie.GetMovieBounds(bounds);
    Keep(uint64_t(bounds.left) + uint64_t(bounds.top) + uint64_t(bounds.width) + uint64_t(bounds.height));

    const uint32_t userDataCount = inMovie.GetUserDataCount();
    for (uint64_t index = 0; index < std::min<uint64_t>(userDataCount, kMaxItems); ++index)
    {
        MK::BinaryData data;
        uint32_t type = 0;
        inMovie.GetUserData(index, data, type);
        Keep(data);
        MK::BinaryData found;
        if (inMovie.FindUserData(type, found))
            Keep(found);
    }
    for (const uint32_t type : {QT::FourCC("\251nam"), QT::FourCC("name"), QT::FourCC("\0\0\0\0")})
    {
        MK::BinaryData found;
        if (inMovie.FindUserData(type, found))
            Keep(found);
    }

    for (const uint32_t type : {QT::kMvhdAtom, QT::kTrakAtom, QT::kUdtaAtom, QT::kMetaAtom, QT::kCmovAtom,
                                QT::kFreeAtom, QT::FourCC("iods"), QT::FourCC("mvex")})
    {
        MK::BinaryData child;
        if (inMovie.GetMovieChildAtom(type, child) == 0)
            Keep(child);
    }
    ExerciseUUIDAtoms(inMovie);
    ExerciseMetadata(inMovie);

    const uint32_t trackCount = inMovie.GetTrackCount();
    for (uint64_t index = 0; index < std::min<uint64_t>(trackCount, kMaxItems); ++index)
    {
        tenacore::classref::InterfaceRef<QT::IQTTrack> track;
        inMovie.GetIndTrack(track, index);
        Keep(ExerciseTrack(*track));
    }
    Keep(ExerciseMovieReferences(inMovie));
}

} // namespace qtfuzz
