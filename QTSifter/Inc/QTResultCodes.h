#pragma once

#include <cstdint>
#include <string_view>

#include "QTExport.h"

namespace QT
{

// Results are 32-bit; 0 is success.
inline constexpr uint32_t kQTSuccess = 0;
// A read, seek or size check failed; reaches callers only from provider failures.
inline constexpr uint32_t kQTStatusReadFailed = 99;
// The one provider status that is recognised and returned unchanged.
inline constexpr uint32_t kQTStatusProviderAbort = 0x800E0000;
inline constexpr uint32_t kQTErrNotAMovie = 0xA0800001;
inline constexpr uint32_t kQTErrOpenFailed = 0xA0800004;
inline constexpr uint32_t kQTErrComplexEditList = 0xA0800005;
inline constexpr uint32_t kQTErrUnsupportedAudio = 0xA0800006;
inline constexpr uint32_t kQTErrBadSampleTable = 0xA0800007;
inline constexpr uint32_t kQTErrNoSuchExtension = 0xA0800008;
inline constexpr uint32_t kQTErrFailed = 0xA00F0001;
inline constexpr uint32_t kQTErrNotFound = 0xA00F000E;
inline constexpr uint32_t kQTErrFixerWrite = 0xA00F000F;
inline constexpr uint32_t kQTErrInvalid = 0xFFFFFFFF;

// The constant's name for a result ("kQTErrNotAMovie"), or an empty view for an unknown value.
QTSIFTER_API std::string_view ResultCodeName(uint32_t inResult);

} // namespace QT
