#pragma once

#include <cstdint>

namespace QT
{

// A rectangle in whole pixels.
struct QTRect
{
    int32_t left = 0;
    int32_t top = 0;
    int32_t width = 0;
    int32_t height = 0;

    bool operator==(const QTRect&) const = default;
};

} // namespace QT
