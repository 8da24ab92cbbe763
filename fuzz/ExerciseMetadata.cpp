#include "ExerciseMetadata.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <variant>

#include "ExerciseSupport.h"
#include "QTFourCC.h"
#include "QTMetadata.h"
#include "tenacore/allocator.h"
#include "tenacore/config.h"

namespace qtfuzz
{

namespace
{

// User data types to look up: a tagged one, a plain one and one no file should hold.
constexpr std::array<uint32_t, 3> kUserDataTypes{QT::FourCC("\251nam"), QT::FourCC("name"),
                                                 QT::FourCC("\0\0\0\0")};

uint64_t FoldValue(const QT::MetadataValue& inValue)
{
    const uint64_t held = std::visit(
        [](const auto& inHeld) -> uint64_t
        {
            using Held = std::decay_t<decltype(inHeld)>;
            if constexpr (std::is_same_v<Held, MK::BinaryData>)
                return Fold(inHeld);
            else if constexpr (std::is_same_v<Held, std::string> || std::is_same_v<Held, std::u16string>)
                return inHeld.size();
            else
                return uint64_t(inHeld != 0);
        },
        inValue.value);
    return uint64_t(inValue.typeCode) + held;
}

uint64_t ExerciseUserData(QT::IQTMovie& inMovie)
{
    uint64_t value = 0;
    const uint32_t userDataCount = inMovie.GetUserDataCount();
    for (uint64_t index = 0; index < std::min<uint64_t>(userDataCount, kMaxItems); ++index)
    {
        MK::BinaryData data;
        uint32_t type = 0;
        inMovie.GetUserData(index, data, type);
        value += Fold(data);
        MK::BinaryData found;
        if (inMovie.FindUserData(type, found))
            value += Fold(found);
    }
    // One past the last item breaks the contract; a host that counts wrong meets the error.
    try
    {
        MK::BinaryData data;
        uint32_t type = 0;
        inMovie.GetUserData(userDataCount, data, type);
        value += Fold(data) + type;
    }
    catch (const tenacore::config::Error&)
    {
        ++value;
    }
    for (const uint32_t type : kUserDataTypes)
    {
        MK::BinaryData found;
        if (inMovie.FindUserData(type, found))
            value += Fold(found);
    }
    return value;
}

uint64_t ExerciseChildAtoms(QT::IQTMovie& inMovie)
{
    uint64_t value = 0;
    for (const uint32_t type : {QT::kMvhdAtom, QT::kTrakAtom, QT::kUdtaAtom, QT::kMetaAtom, QT::kCmovAtom,
                                QT::kFreeAtom, QT::FourCC("iods"), QT::FourCC("mvex")})
    {
        MK::BinaryData child;
        if (inMovie.GetMovieChildAtom(type, child) == 0)
            value += Fold(child);
    }
    return value;
}

uint64_t ExerciseUUIDAtoms(QT::IQTMovie& inMovie)
{
    uint64_t value = 0;
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
                value += buffer->GetSize() + buffer->GetData()[0] + buffer->GetData()[buffer->GetSize() - 1];
        }
    }
    return value;
}

uint64_t ExerciseMetadataItems(QT::IQTMovie& inMovie)
{
    uint64_t value = 0;
    QT::MetadataMap items;
    inMovie.GetMetadataItems(items);
    uint64_t asked = 0;
    for (const auto& [key, item] : items)
    {
        if (++asked > kMaxItems)
            break;
        value += FoldValue(item);
        QT::MetadataValue found;
        if (inMovie.GetMetadataValue(key, found))
            value += FoldValue(found);
        uint32_t offset = 0;
        if (inMovie.GetMetadataValueOffset(key, offset))
            value += offset;
    }
    for (const char* key : {"", "title", "\251nam"})
    {
        QT::MetadataValue found;
        if (inMovie.GetMetadataValue(key, found))
            value += FoldValue(found);
        uint32_t offset = 0;
        if (inMovie.GetMetadataValueOffset(key, offset))
            value += offset;
    }
    return value;
}

} // namespace

uint64_t ExerciseMovieMetadata(QT::IQTMovie& inMovie)
{
    return ExerciseUserData(inMovie) + ExerciseChildAtoms(inMovie) + ExerciseUUIDAtoms(inMovie) +
           ExerciseMetadataItems(inMovie);
}

uint64_t ExerciseTrackMetadata(QT::IQTTrack& inTrack)
{
    uint64_t value = 0;
    for (const uint32_t type : kUserDataTypes)
    {
        MK::BinaryData data;
        if (inTrack.GetUserDataItem(type, data))
            value += Fold(data);
    }
    return value;
}

uint64_t ExerciseMetadataOfMovie(QT::IQTMovie& inMovie)
{
    return ExerciseMovieMetadata(inMovie) + ForEachTrack(inMovie, ExerciseTrackMetadata);
}

} // namespace qtfuzz
