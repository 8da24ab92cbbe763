#include "QTResultCodes.h"

namespace QT
{

std::string_view ResultCodeName(uint32_t inResult)
{
    switch (inResult)
    {
    case kQTSuccess:
        return "kQTSuccess";
    case kQTStatusReadFailed:
        return "kQTStatusReadFailed";
    case kQTStatusProviderAbort:
        return "kQTStatusProviderAbort";
    case kQTErrNotAMovie:
        return "kQTErrNotAMovie";
    case kQTErrOpenFailed:
        return "kQTErrOpenFailed";
    case kQTErrComplexEditList:
        return "kQTErrComplexEditList";
    case kQTErrUnsupportedAudio:
        return "kQTErrUnsupportedAudio";
    case kQTErrBadSampleTable:
        return "kQTErrBadSampleTable";
    case kQTErrNoSuchExtension:
        return "kQTErrNoSuchExtension";
    case kQTErrFailed:
        return "kQTErrFailed";
    case kQTErrNotFound:
        return "kQTErrNotFound";
    case kQTErrFixerWrite:
        return "kQTErrFixerWrite";
    case kQTErrInvalid:
        return "kQTErrInvalid";
    default:
        return {};
    }
}

} // namespace QT
