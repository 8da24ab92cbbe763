#include "WalkUnderOtherRules.h"

#include <cstring>

#include "ExerciseMovie.h"
#include "QTBigEndian.h"
#include "QTFourCC.h"
#include "QTMovie.h"
#include "QTMovieWalk.h"

namespace qtfuzz
{

namespace
{

// Every rule the other way from the parser's.
constexpr QT::WalkRules kOtherRules{
    .minBytesLeft = 8,
    .expandCompressedMovie = false,
    .checkEditListType = false,
    .dropEmptyEdits = false,
    .skipExtendedLanguage = false,
    .mediaInformation = QT::MediaInformationWalk::FirstChildIsHeader,
    .captionTracksNeedNoTables = false,
    .recordPartialSync = false,
    .requireMediaInfoHeader = true,
    .userData = QT::UserDataWalk::RecordOnly,
    .checkKeyedMetadata = false,
    .sdtpBehindSampleTable = false,
};

// The loader never hands over more than this.
constexpr size_t kMaxMovieAtom = 0x8000000;

// The bytes of the input's first top-level moov, cut to the input; the whole input when it has
// none, so that inputs that are bare movie atoms walk too.
void FindMovieAtom(const uint8_t*& ioData, size_t& ioSize)
{
    for (size_t pos = 0; ioSize - pos >= 8;)
    {
        const uint32_t size = QT::BE::U32(ioData + pos);
        if (QT::BE::U32(ioData + pos + 4) == QT::FourCC("moov"))
        {
            ioData += pos;
            ioSize = size >= 8 && size <= ioSize - pos ? size : ioSize - pos;
            return;
        }
        if (size < 8 || size > ioSize - pos)
            return;
        pos += size;
    }
}

} // namespace

void WalkUnderOtherRules(const uint8_t* inData, size_t inSize, void (*inAsk)(QT::IQTMovie&))
{
    FindMovieAtom(inData, inSize);
    if (inSize == 0 || inSize > kMaxMovieAtom)
        return;
    QT::MovieIndex index;
    index.mooVAtom = std::make_shared<QTMooVAtom>();
    index.mooVAtom->buffer = tenacore::allocator::RecycledMemory::Create(inSize);
    if (!index.mooVAtom->buffer)
        return;
    std::memcpy(index.mooVAtom->buffer->GetData(), inData, inSize);
    index.movieAtomSize = uint32_t(inSize);
    if (!QT::WalkMovieAtom(index, kOtherRules))
        return;
    index.mooVAtom->Adopt(index.mvhd, index.mvhd64, index.trackItems, index.userData, index.metadataItems,
                          index.metadataKeys);
    auto movie = tenacore::classref::MakeObject<QT::QTMovie>();
    movie->Init(index.mooVAtom, 0);
    (inAsk ? inAsk : ExerciseMovie)(*movie);
}

} // namespace qtfuzz
