#pragma once

// White-box access to a sifter, for tests that also see the library's internal headers.

#include <algorithm>
#include <cstdint>
#include <memory>

#include "QTSifter.h"
#include "TestFiles.h"
#include "tenacore/classref.h"

namespace qttest
{

// A sifter that the test keeps, so that its members can be looked at after an operation.
struct Probe
{
    std::shared_ptr<QT::QTSifter> sifter = tenacore::classref::MakeObject<QT::QTSifter>();
    tenacore::classref::InterfaceRef<QT::IQTMovie> movie;
    uint32_t result = 0;

    const QTMooVAtom& MooV() const { return *sifter->mooVAtom; }
    // A copy of the loaded buffer.
    Bytes Buffer() const
    {
        const uint8_t* data = MooV().Data();
        return data ? Bytes(data, data + MooV().Size()) : Bytes();
    }
};

// MakeMovie over a temporary file of inBytes.
inline Probe ProbeMakeMovie(const Bytes& inBytes)
{
    Probe probe;
    TempFile file(inBytes);
    probe.result = probe.sifter->MakeMovie(file.WidePath(), probe.movie);
    return probe;
}

// The big-endian word at inOffset of inBytes.
inline uint32_t WordAt(const Bytes& inBytes, size_t inOffset)
{
    return (uint32_t(inBytes.at(inOffset)) << 24) | (uint32_t(inBytes.at(inOffset + 1)) << 16) |
           (uint32_t(inBytes.at(inOffset + 2)) << 8) | uint32_t(inBytes.at(inOffset + 3));
}

inline constexpr size_t kNoAtom = size_t(-1);

// Start of the inNth atom of inType in inBytes, found by its type bytes; kNoAtom when absent.
inline size_t FindAtom(const Bytes& inBytes, const char (&inType)[5], size_t inNth = 0)
{
    for (size_t pos = 4; pos + 4 <= inBytes.size(); ++pos)
        if (std::equal(inType, inType + 4, inBytes.begin() + std::ptrdiff_t(pos)) && inNth-- == 0)
            return pos - 4;
    return kNoAtom;
}

inline uint32_t WordAt(const uint8_t* inP)
{
    return (uint32_t(inP[0]) << 24) | (uint32_t(inP[1]) << 16) | (uint32_t(inP[2]) << 8) | uint32_t(inP[3]);
}

} // namespace qttest
