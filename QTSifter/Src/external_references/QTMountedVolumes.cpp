#include "QTMountedVolumes.h"

#include <sstream>

#include "tenacore/FileUtils.h"
#include "tenacore/StringCase.h"
#include "tenacore/string.h"

namespace QT::WinImpl
{

namespace
{

int HexDigit(char inChar)
{
    if (inChar >= '0' && inChar <= '9')
        return inChar - '0';
    if (inChar >= 'a' && inChar <= 'f')
        return inChar - 'a' + 10;
    if (inChar >= 'A' && inChar <= 'F')
        return inChar - 'A' + 10;
    return -1;
}

bool IsOctal(char inChar)
{
    return inChar >= '0' && inChar <= '7';
}

// mountinfo writes space, tab, newline and backslash in paths as \ and three octal digits.
std::string DecodeMountPath(std::string_view inText)
{
    std::string decoded;
    for (size_t i = 0; i < inText.size(); ++i)
    {
        if (inText[i] == '\\' && inText.size() - i > 3 && IsOctal(inText[i + 1]) && IsOctal(inText[i + 2]) &&
            IsOctal(inText[i + 3]))
        {
            decoded.push_back(
                char(((inText[i + 1] - '0') << 6) | ((inText[i + 2] - '0') << 3) | (inText[i + 3] - '0')));
            i += 3;
        }
        else
            decoded.push_back(inText[i]);
    }
    return decoded;
}

std::vector<std::string_view> Fields(std::string_view inLine)
{
    std::vector<std::string_view> fields;
    size_t pos = 0;
    while (pos < inLine.size())
    {
        const size_t start = inLine.find_first_not_of(' ', pos);
        if (start == std::string_view::npos)
            break;
        const size_t end = std::min(inLine.find(' ', start), inLine.size());
        fields.push_back(inLine.substr(start, end - start));
        pos = end;
    }
    return fields;
}

} // namespace

// A line: id, parent, major:minor, root, mount point, options, optional fields, "-", type, source,
// super options.
std::vector<MountedFilesystem> ParseMountInfo(std::string_view inText)
{
    std::vector<MountedFilesystem> mounts;
    size_t pos = 0;
    while (pos < inText.size())
    {
        const size_t end = std::min(inText.find('\n', pos), inText.size());
        const std::vector<std::string_view> fields = Fields(inText.substr(pos, end - pos));
        pos = end + 1;
        size_t dash = 6;
        while (dash < fields.size() && fields[dash] != "-")
            ++dash;
        if (fields.size() < 5 || dash + 2 >= fields.size())
            continue;
        mounts.push_back({DecodeMountPath(fields[4]), DecodeMountPath(fields[dash + 2])});
    }
    return mounts;
}

std::string DecodeLabelName(std::string_view inName)
{
    std::string decoded;
    for (size_t i = 0; i < inName.size(); ++i)
    {
        if (inName[i] == '\\' && inName.size() - i > 3 && inName[i + 1] == 'x' &&
            HexDigit(inName[i + 2]) >= 0 && HexDigit(inName[i + 3]) >= 0)
        {
            decoded.push_back(char(HexDigit(inName[i + 2]) * 16 + HexDigit(inName[i + 3])));
            i += 3;
        }
        else
            decoded.push_back(inName[i]);
    }
    return decoded;
}

VolumeRows MountedVolumeRows(const std::vector<MountedFilesystem>& inMounts,
                             const std::map<std::string, std::string>& inLabels,
                             std::string (*inRealPath)(const std::string&))
{
    VolumeRows rows;
    for (const MountedFilesystem& mount : inMounts)
    {
        if (mount.source.rfind("/dev/", 0) != 0)
            continue;
        VolumeInfo row;
        row.rootPath =
            tenacore::utility::FileUtils::AddTrailingSlash(tenacore::string::UTF8to16(mount.mountPoint));
        const auto label = inLabels.find(inRealPath(mount.source));
        row.label = label == inLabels.end() || label->second.empty()
                        ? u"noname"
                        : tenacore::string::UTF8to16(label->second);
        tenacore::string::ToLowerCase(row.label);
        row.hasMedia = true;
        rows.push_back(std::move(row));
    }
    return rows;
}

} // namespace QT::WinImpl
