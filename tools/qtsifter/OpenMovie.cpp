#include "OpenMovie.h"

#include <cstdio>
#include <iostream>

#include "IQTSifter.h"
#include "QTResultCodes.h"
#include "tenacore/string.h"

namespace qtsifter
{

std::string ResultText(uint32_t inResult)
{
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%08X", unsigned(inResult));
    std::string text = hex;
    const std::string_view name = QT::ResultCodeName(inResult);
    if (!name.empty())
        text.append(" ").append(name);
    return text;
}

uint32_t OpenMovie(const std::string& inUTF8Path, MovieRef& outMovie)
{
    outMovie.Reset();
    // A parser serves one parse, so each open takes a fresh one.
    auto parser = QT::MakeParser();
    const uint32_t result = parser->MakeMovie(tenacore::string::UTF8to16(inUTF8Path), outMovie);
    if (result != QT::kQTSuccess || !outMovie)
    {
        std::cerr << "qtsifter: " << inUTF8Path << ": " << ResultText(result) << "\n";
        outMovie.Reset();
    }
    return result;
}

} // namespace qtsifter
