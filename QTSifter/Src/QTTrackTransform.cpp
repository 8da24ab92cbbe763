#include "QTTrack.h"

#include "QTAtomLayout.h"

namespace QT
{

namespace
{

constexpr uint32_t kOne = 0x00010000;
constexpr uint32_t kMinusOne = 0xFFFF0000;
constexpr uint32_t kW = 0x40000000;

// The matrix a, b, u, c, d, v, w; the translation x and y is never looked at.
struct Matrix
{
    uint32_t a, b, u, c, d, v, w;
};

// tkhd holds the matrix as a, b, u, c, d, v, x, y, w.
Matrix ReadMatrix(const ByteRange& inBytes, const uint8_t* inTkhd)
{
    auto element = [&](size_t inIndex)
    { return inBytes.U32Or0(inTkhd, kTkhdMatrixFromPayload + 4 * inIndex); };
    return {element(0), element(1), element(2), element(3), element(4), element(5), element(8)};
}

bool IsUnscaled(const Matrix& inM)
{
    return inM.a == kOne && inM.b == 0 && inM.u == 0 && inM.c == 0 && inM.d == kOne && inM.v == 0;
}

bool Is(const Matrix& inM, uint32_t inA, uint32_t inB, uint32_t inC, uint32_t inD)
{
    return inM.a == inA && inM.b == inB && inM.u == 0 && inM.c == inC && inM.d == inD && inM.v == 0 &&
           inM.w == kW;
}

} // namespace

bool QTTrack::HasIdentityTransform()
{
    const Matrix m = ReadMatrix(Bytes(), Item().tkhd);
    return IsUnscaled(m) && m.w == kW;
}

bool QTTrack::HasUnscaledTransform()
{
    const Matrix m = ReadMatrix(Bytes(), Item().tkhd);
    return IsUnscaled(m);
}

uint32_t QTTrack::GetTrackRotation()
{
    const Matrix m = ReadMatrix(Bytes(), Item().tkhd);
    if (Is(m, 0, kMinusOne, kOne, 0))
        return 1;
    if (Is(m, kMinusOne, 0, 0, kMinusOne))
        return 2;
    if (Is(m, 0, kOne, kMinusOne, 0))
        return 3;
    return 0;
}

bool QTTrack::HasRightAngleTransform()
{
    return GetTrackRotation() != 0 || HasIdentityTransform();
}

} // namespace QT
