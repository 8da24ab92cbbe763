#pragma once

#include <gtest/gtest.h>

#include "AtomBuilder.h"
#include "QTTrack.h"
#include "TestFiles.h"

namespace qttest
{

// A movie opened from bytes with one of its tracks, seen both through its interface and as the
// concrete class for the internal operations.
struct OpenedTrack
{
    Opened opened;
    tenacore::classref::InterfaceRef<QT::IQTTrack> track;
    tenacore::classref::InterfaceRef<QT::QTTrack> impl;
};

inline OpenedTrack OpenTrack(const Bytes& inMovie, uint64_t inIndex = 0)
{
    OpenedTrack result;
    result.opened = OpenBytes(inMovie);
    EXPECT_EQ(result.opened.result, 0u);
    if (result.opened.result != 0)
        return result;
    result.opened.movie->GetIndTrack(result.track, inIndex);
    result.impl = tenacore::classref::InterfaceRef<QT::QTTrack>::Query(result.track);
    return result;
}

} // namespace qttest
