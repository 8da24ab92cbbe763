#pragma once

#include <cstdint>
#include <string>

#include "IQTMovie.h"
#include "QTExport.h"
#include "QTFileProvider.h"
#include "QTResultCodes.h"
#include "tenacore/classref.h"

namespace QT
{

// Turns a file path into a movie. One sifter serves one successful parse.
class QTSIFTER_INTERFACE IQTSifter : public tenacore::classref::Unknown
{
public:
    // Opens inPath and loads its movie. 0, or a result code; outMovie is set only on success.
    virtual uint32_t MakeMovie(std::u16string inPath,
                               tenacore::classref::InterfaceRef<IQTMovie>& outMovie) = 0;

    // As MakeMovie, reading through inProvider when it is given and ready, then locates the first
    // top-level atom of inAtomType. Not finding it is no failure: outFound says.
    virtual uint32_t MakeMovieAndLocateAtom(std::u16string inPath,
                                            tenacore::classref::InterfaceRef<IQTMovie>& outMovie,
                                            uint32_t inAtomType, bool& outFound, uint64_t& outAtomOffset,
                                            uint64_t& outAtomSize, QTFileProvider* inProvider) = 0;
};

QTSIFTER_API tenacore::classref::InterfaceRef<IQTSifter> MakeParser();

} // namespace QT
