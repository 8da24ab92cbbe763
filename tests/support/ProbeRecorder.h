#pragma once

#include <set>
#include <string>
#include <vector>

#include "tenacore/FileUtils.h"

namespace qttest
{

// Stands in for the file system while alive: every existence probe is recorded, and only the
// paths in `existing` exist. Restores the previous answerer when it goes.
struct ProbeRecorder
{
    ProbeRecorder()
    {
        previous = tenacore::utility::FileUtils::SetExistenceProbe(
            [this](const std::u16string& inPath)
            {
                probes.push_back(inPath);
                return existing.count(inPath) > 0;
            });
    }
    ~ProbeRecorder() { tenacore::utility::FileUtils::SetExistenceProbe(previous); }
    ProbeRecorder(const ProbeRecorder&) = delete;
    ProbeRecorder& operator=(const ProbeRecorder&) = delete;

    std::set<std::u16string> existing;
    std::vector<std::u16string> probes;
    tenacore::utility::FileUtils::ExistenceProbe previous;
};

// The separator the platform adds when a folder gets its trailing one.
inline std::u16string Sep()
{
    return std::u16string(1, tenacore::utility::FileUtils::PreferredSeparator());
}

} // namespace qttest
