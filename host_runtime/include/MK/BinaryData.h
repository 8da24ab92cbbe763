#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace MK
{

// A byte buffer that owns a copy of its bytes.
class BinaryData
{
public:
    BinaryData() = default;
    BinaryData(const void* inData, size_t inSize)
        : mBytes(static_cast<const uint8_t*>(inData), static_cast<const uint8_t*>(inData) + inSize)
    {
    }

    const uint8_t* GetData() const noexcept { return mBytes.data(); }
    size_t GetSize() const noexcept { return mBytes.size(); }
    bool operator==(const BinaryData&) const = default;

private:
    std::vector<uint8_t> mBytes;
};

} // namespace MK
