#include "TextReport.h"

#include <string>
#include <string_view>

#include <fmt/format.h>

namespace qtsifter
{

namespace
{

using Json = nlohmann::ordered_json;

constexpr std::string_view kTwinSuffixes[] = {"Seconds", "Degrees", "Name", "Text"};

std::string Scalar(const Json& inValue)
{
    if (inValue.is_string())
        return inValue.get<std::string>();
    if (inValue.is_boolean())
        return inValue.get<bool>() ? "yes" : "no";
    if (inValue.is_number_float())
        return fmt::format("{:.6g}", inValue.get<double>());
    return inValue.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// Whether inKey is the readable twin of another key of inObject, shown on that key's line.
bool IsTwin(const Json& inObject, const std::string& inKey)
{
    for (std::string_view suffix : kTwinSuffixes)
        if (inKey.size() > suffix.size() && inKey.ends_with(suffix) &&
            inObject.contains(inKey.substr(0, inKey.size() - suffix.size())))
            return true;
    return false;
}

// The value of inKey with its readable twins.
std::string WithTwins(const Json& inObject, const std::string& inKey)
{
    const auto text = inObject.find(inKey + "Text");
    std::string shown =
        text != inObject.end() && !text->is_null() ? Scalar(*text) : Scalar(inObject.at(inKey));
    if (const auto seconds = inObject.find(inKey + "Seconds");
        seconds != inObject.end() && seconds->is_number() && !inObject.at(inKey).is_structured())
        shown += fmt::format(" ({:.3f} s)", seconds->get<double>());
    if (const auto degrees = inObject.find(inKey + "Degrees"); degrees != inObject.end())
        shown += fmt::format(" ({}°)", Scalar(*degrees));
    if (const auto name = inObject.find(inKey + "Name"); name != inObject.end())
        shown += fmt::format(" ({})", Scalar(*name));
    return shown;
}

bool IsFlat(const Json& inValue)
{
    if (!inValue.is_object())
        return false;
    for (const auto& item : inValue.items())
        if (item.value().is_structured())
            return false;
    return true;
}

// A flat object on one line: "type ©nam, size 12".
std::string OneLine(const Json& inObject)
{
    std::string line;
    for (const auto& item : inObject.items())
    {
        if (IsTwin(inObject, item.key()))
            continue;
        if (!line.empty())
            line += ", ";
        line += item.key() + " " + WithTwins(inObject, item.key());
    }
    return line;
}

} // namespace

void WriteTextReport(std::ostream& ioOut, const Json& inReport, int inIndent)
{
    const std::string pad(size_t(inIndent), ' ');
    for (const auto& item : inReport.items())
    {
        const auto& value = item.value();
        if (IsTwin(inReport, item.key()))
            continue;
        if (IsFlat(value) && !value.empty())
            ioOut << pad << item.key() << ": " << OneLine(value) << "\n";
        else if (value.is_object())
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
            ioOut << pad << item.key() << ": " << WithTwins(inReport, item.key()) << "\n";
    }
}

} // namespace qtsifter
