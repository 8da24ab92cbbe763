#include "TextReport.h"

#include <string>

namespace qtsifter
{

namespace
{

std::string Scalar(const nlohmann::ordered_json& inValue)
{
    if (inValue.is_string())
        return inValue.get<std::string>();
    return inValue.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

bool IsFlat(const nlohmann::ordered_json& inValue)
{
    if (!inValue.is_object())
        return false;
    for (const auto& item : inValue.items())
        if (item.value().is_structured())
            return false;
    return true;
}

// A flat object on one line: "type ©nam, size 12".
std::string OneLine(const nlohmann::ordered_json& inObject)
{
    std::string line;
    for (const auto& item : inObject.items())
    {
        if (!line.empty())
            line += ", ";
        line += item.key() + " " + Scalar(item.value());
    }
    return line;
}

} // namespace

void WriteTextReport(std::ostream& ioOut, const nlohmann::ordered_json& inReport, int inIndent)
{
    const std::string pad(size_t(inIndent), ' ');
    for (const auto& item : inReport.items())
    {
        const auto& value = item.value();
        if (value.is_object())
        {
            ioOut << pad << item.key() << ":\n";
            WriteTextReport(ioOut, value, inIndent + 2);
        }
        else if (value.is_array())
        {
            ioOut << pad << item.key() << ": " << value.size() << (value.size() == 1 ? " item" : " items")
                  << "\n";
            size_t index = 0;
            for (const auto& element : value)
            {
                ioOut << pad << "  [" << index++ << "]";
                if (IsFlat(element))
                    ioOut << " " << OneLine(element) << "\n";
                else if (element.is_object())
                {
                    ioOut << "\n";
                    WriteTextReport(ioOut, element, inIndent + 4);
                }
                else
                    ioOut << " " << Scalar(element) << "\n";
            }
        }
        else
            ioOut << pad << item.key() << ": " << Scalar(value) << "\n";
    }
}

} // namespace qtsifter
