#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "IQTSifter.h"
#include "KSL/File.h"
#include "QTMooVAtom.h"
#include "QTMovieAtomCompaction.h"
#include "QTMovieWalk.h"

namespace QT
{

// The parser. Its walk is the movie walk under the parser's rules, over the index it inherits.
class QTSifter : public IQTSifter, public MovieIndex
{
public:
    void* QueryInterface(std::string_view inName) override;

    uint32_t MakeMovie(std::u16string inPath, tenacore::classref::InterfaceRef<IQTMovie>& outMovie) override;
    uint32_t MakeMovieAndLocateAtom(std::u16string inPath,
                                    tenacore::classref::InterfaceRef<IQTMovie>& outMovie, uint32_t inAtomType,
                                    bool& outFound, uint64_t& outAtomOffset, uint64_t& outAtomSize,
                                    QTFileProvider* inProvider) override;

    // Loading the movie atom (one route over a file, one over the provider).
    uint32_t LoadMovieAtomFromFile(KSL::File& inFile);
    uint32_t LoadMovieAtomFromProvider();
    uint32_t FindTopLevelAtom(uint32_t inAtomType, KSL::File& inFile, uint64_t& outOffset, uint64_t& outSize);

    // The walk over the loaded buffer that builds the index, under the parser's rules.
    [[nodiscard]] bool WalkMovieAtom() { return QT::WalkMovieAtom(*this, kParserWalkRules); }
    [[nodiscard]] bool ReadMovieHeader() { return QT::ReadMovieHeader(*this, kParserWalkRules); }
    [[nodiscard]] bool WalkTracks() { return QT::WalkTracks(*this, kParserWalkRules); }
    [[nodiscard]] bool WalkSampleTable(uint32_t inPos, uint32_t inLimit, uint32_t inEnd, TrackItem& ioItem)
    {
        return QT::WalkSampleTable(*this, kParserWalkRules, inPos, inLimit, inEnd, ioItem);
    }
    void ReadUserData(uint32_t inStart, uint32_t inAtomSize)
    {
        QT::ReadUserData(*this, kParserWalkRules, inStart, inAtomSize);
    }
    // The name-tagged metadata of a udta's meta child, and the keyed metadata under moov.
    void ParseMetaItems(const uint8_t* inBuffer, uint32_t inStart, uint32_t inEnd)
    {
        QT::ParseMetaItems(*this, inBuffer, inStart, inEnd);
    }
    void ParseMetadata() { QT::ParseMetadata(*this, kParserWalkRules); }
    Expansion ExpandCompressedMovie(uint32_t& ioPos)
    {
        return QT::ExpandCompressedMovie(*this, kParserWalkRules, ioPos);
    }

private:
    [[nodiscard]] bool ProviderInUse() const;
    uint32_t CompactWorkArea(uint8_t* ioWorkArea, LoadRoute inRoute, uint32_t& outSize);
    uint32_t OpenFile(KSL::File& ioFile, const std::u16string& inPath, uint32_t inShare);
    void HandOver(class QTMovie& ioMovie, tenacore::classref::InterfaceRef<IQTMovie>& outMovie);
    void TakeBackIndex();

    // The movie atom that the index was last moved into, until the next parse takes it back.
    std::shared_ptr<QTMooVAtom> mHandedOver;

public:
    // What the index does not hold: where the movie came from.
    uint64_t fileSize = 0;
    QTFileProvider* provider = nullptr;
};

} // namespace QT
