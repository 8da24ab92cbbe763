#pragma once

#include <cstdint>
#include <string>

#include "QTExport.h"
#include "QTResultCodes.h"
#include "tenacore/classref.h"

namespace QT
{

// Repairs a movie file on disk in one narrow way: the sample dependency table (sdtp) of the first
// enabled video track becomes a skip atom, so that readers step over a table that is not to be
// trusted. Four bytes are written over the atom's type; no size, offset or length changes. One
// fixer serves one call.
class QTSIFTER_INTERFACE IQTMovieFixer : public tenacore::classref::Unknown
{
public:
    // kQTSuccess when the four bytes were written; kQTErrFailed when there is nothing to fix or the
    // movie could not be loaded; kQTErrFixerWrite when the write failed.
    virtual uint32_t FixMovie(std::u16string inPath) = 0;
};

QTSIFTER_API tenacore::classref::InterfaceRef<IQTMovieFixer> MakeFixer();

} // namespace QT
