#include "Failure.h"

#include <fmt/format.h>

#include "QTResultCodes.h"

namespace qtsifter
{

std::string ResultText(uint32_t inResult)
{
    std::string text = fmt::format("0x{:08X}", inResult);
    const std::string_view name = QT::ResultCodeName(inResult);
    if (!name.empty())
        text.append(" ").append(name);
    return text;
}

std::string RefusalLine(const Refusal& inRefusal)
{
    std::string line = "qtsifter: ";
    if (!inRefusal.path.empty())
        line += inRefusal.path + ": ";
    if (inRefusal.result)
        line += ResultText(*inRefusal.result) + ": ";
    return line + inRefusal.what();
}

} // namespace qtsifter
