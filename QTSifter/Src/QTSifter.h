#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "IQTSifter.h"
#include "KSL/File.h"
#include "QTMooVAtom.h"
#include "QTMovieAtomCompaction.h"

namespace QT
{

class QTSifter : public IQTSifter
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

    // The walk over the loaded buffer that builds the index.
    bool WalkMovieAtom();
    bool ReadMovieHeader();
    bool WalkTracks();
    bool WalkSampleTable(uint32_t inPos, uint32_t inLimit, uint32_t inEnd, TrackItem& ioItem);
    void ReadUserData(uint32_t inStart, uint32_t inAtomSize);
    // The name-tagged metadata of a udta's meta child, and the keyed metadata under moov.
    void ParseMetaItems(const uint8_t* inBuffer, uint32_t inStart, uint32_t inEnd);
    void ParseMetadata();

    // Result of ExpandCompressedMovie: whether the buffer was replaced, and if so the header read on it.
    struct Expansion
    {
        bool replaced = false;
        bool headerRead = false;
    };
    Expansion ExpandCompressedMovie(uint32_t& ioPos);

private:
    void ParseTaggedItems(const uint8_t* inBuffer, uint64_t inStart, uint64_t inEnd);
    std::vector<std::string> ReadMetadataKeys(uint32_t inKeys, uint32_t inKeysEnd);
    void ParseKeyedItems(uint32_t inIlst, const std::vector<std::string>& inKeys);
    bool ProviderInUse() const;
    uint32_t CompactWorkArea(uint8_t* ioWorkArea, LoadRoute inRoute, uint32_t& outSize);
    void ReadMovieUserData();
    void ReadUserDataChildren(uint32_t inStart, uint32_t inEnd, std::vector<UserDataItem>& ioItems);
    bool FindNextTrack(uint32_t inFrom, uint32_t& outNextTrack);
    uint32_t OpenFile(KSL::File& ioFile, const std::u16string& inPath, uint32_t inShare);
    void HandOver(class QTMovie& ioMovie, tenacore::classref::InterfaceRef<IQTMovie>& outMovie);

public:
    uint64_t fileSize = 0;
    QTFileProvider* provider = nullptr;
    std::shared_ptr<QTMooVAtom> mooVAtom;
    uint64_t movieAtomOffset = 0;
    uint32_t movieAtomSize = 0;
    const uint8_t* mvhd = nullptr;
    const uint8_t* mvhd64 = nullptr;
    std::vector<TrackItem> trackItems;
    std::vector<UserDataItem> userData;
    MetadataMap metadataItems;
    MetadataMap metadataKeys;
    // How many cmov atoms deep the current expansion stands.
    uint32_t expansionDepth = 0;
};

} // namespace QT
