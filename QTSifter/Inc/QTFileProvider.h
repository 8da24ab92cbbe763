#pragma once

#include <cstdint>

namespace QT
{

// A table of read functions that a host may supply instead of file access. Only entries 0, 2, 6
// and 8 are used; the others are never touched. The library never releases a handle.
struct QTFileProvider
{
    // 0: 0 when the provider is to be used; any other value selects ordinary file access.
    uint32_t (*IsReady)();
    void* unused1;
    // 2: an opaque handle, fetched afresh for every atom header. 0 on success.
    uint32_t (*GetHandle)(void** outHandle);
    void* unused3;
    void* unused4;
    void* unused5;
    // 6: delivers inCount bytes at inOffset in memory that the provider owns. The bytes of the
    // movie atom are rewritten in place, so the block must be writable and stay valid until
    // the next call. 0 on success; any other value is passed upward unchanged.
    uint32_t (*ReadAt)(void* inHandle, uint64_t inOffset, uint32_t inCount, uint8_t** outBytes,
                       uint64_t* outDelivered);
    void* unused7;
    // 8: the file's size in bytes. 0 on success.
    uint32_t (*GetSize)(void* inHandle, uint64_t* outSize);
};

} // namespace QT
