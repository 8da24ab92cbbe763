#include "QTContract.h"

#include "tenacore/config.h"
#include "tenacore/debug.h"
#include "tenacore/string.h"

namespace QT
{

void ReportContractViolation(const ContractSite& inSite)
{
    tenacore::oUTF8StringStream stream;
    stream << inSite.message;
    if (tenacore::debug::DoSimpleAssert(inSite.sourcePath, inSite.line, inSite.function, inSite.condition,
                                        stream.str()) &&
        tenacore::debug::IsDebuggerAttached())
        tenacore::debug::BreakIntoDebugger();
}

void ThrowContractViolation()
{
    const tenacore::config::ReplacementValue none;
    tenacore::config::ThrowError(0,
                                 "$$$/tenacore/utility/Error/Contract/InputContractViolation=An input "
                                 "contract violation has occurred!",
                                 105, 25, true, none, none, none, none);
}

} // namespace QT
