#pragma once

// A small atom writer for movies of up to the movie atom's limit: atoms are opened and closed in
// one growing buffer and their sizes filled in on close, so that a 128 MiB table is written once,
// not copied at every level of nesting as a builder of whole atoms would.

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace hostile
{

class Writer
{
public:
    explicit Writer(size_t inReserve = 0) { mBytes.reserve(inReserve); }

    Writer& U8(uint8_t inValue)
    {
        mBytes.push_back(inValue);
        return *this;
    }
    Writer& U16(uint16_t inValue) { return U8(uint8_t(inValue >> 8)).U8(uint8_t(inValue)); }
    Writer& U24(uint32_t inValue) { return U8(uint8_t(inValue >> 16)).U16(uint16_t(inValue)); }
    Writer& U32(uint32_t inValue) { return U16(uint16_t(inValue >> 16)).U16(uint16_t(inValue)); }
    Writer& U64(uint64_t inValue) { return U32(uint32_t(inValue >> 32)).U32(uint32_t(inValue)); }
    Writer& Type(const char* inType)
    {
        for (int i = 0; i < 4; ++i)
            U8(uint8_t(inType[i]));
        return *this;
    }
    Writer& Zeros(size_t inCount)
    {
        mBytes.insert(mBytes.end(), inCount, 0);
        return *this;
    }
    Writer& Raw(const void* inData, size_t inSize)
    {
        const auto* bytes = static_cast<const uint8_t*>(inData);
        mBytes.insert(mBytes.end(), bytes, bytes + inSize);
        return *this;
    }
    Writer& FullHeader(uint8_t inVersion = 0, uint32_t inFlags = 0) { return U8(inVersion).U24(inFlags); }

    // An atom whose size word is written when it is closed.
    Writer& Open(const char* inType)
    {
        mOpen.push_back(mBytes.size());
        return U32(0).Type(inType);
    }
    Writer& Close()
    {
        const size_t start = mOpen.back();
        mOpen.pop_back();
        Patch32(start, uint32_t(mBytes.size() - start));
        return *this;
    }
    // An atom with nothing in it but its header.
    Writer& Empty(const char* inType) { return U32(8).Type(inType); }

    void Patch32(size_t inAt, uint32_t inValue)
    {
        mBytes[inAt] = uint8_t(inValue >> 24);
        mBytes[inAt + 1] = uint8_t(inValue >> 16);
        mBytes[inAt + 2] = uint8_t(inValue >> 8);
        mBytes[inAt + 3] = uint8_t(inValue);
    }

    size_t Size() const { return mBytes.size(); }
    const std::vector<uint8_t>& Bytes() const { return mBytes; }
    std::vector<uint8_t>& Bytes() { return mBytes; }

    bool WriteFile(const std::string& inPath) const
    {
        std::FILE* file = std::fopen(inPath.c_str(), "wb");
        if (!file)
            return false;
        const bool written = std::fwrite(mBytes.data(), 1, mBytes.size(), file) == mBytes.size();
        return std::fclose(file) == 0 && written;
    }

private:
    std::vector<uint8_t> mBytes;
    std::vector<size_t> mOpen;
};

} // namespace hostile
