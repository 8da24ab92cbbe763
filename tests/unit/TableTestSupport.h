#pragma once

#include "AtomBuilder.h"
#include "QTShared.h"

namespace qttest
{

// An atom's bytes kept alive with a table view over them.
struct BuiltTable
{
    explicit BuiltTable(const Atom& inAtom) : bytes(inAtom.Build()) {}
    QT::ByteRange Range() const { return {bytes.data(), bytes.size()}; }
    QT::TableAtom Table() const { return QT::TableAtom(bytes.data(), Range()); }
    Bytes bytes;
};

} // namespace qttest
