#include <cstdio>
#include <memory>
#include <string>

#include "Command.h"
#include "CommandOptions.h"
#include "Failure.h"
#include "IQTMovieFixer.h"
#include "ListWriter.h"
#include "LookThrough.h"
#include "QTResultCodes.h"
#include "tenacore/string.h"

namespace qtsifter
{

namespace
{

struct FixOptions
{
    std::string path;
    bool inPlace = false;
    bool json = false;
};

// The one command that writes: four bytes, "skip" over the type of one sdtp atom. Without
// --in-place it only says where they would go.
int RunFix(const FixOptions& inOptions)
{
    const std::u16string path = tenacore::string::UTF8to16(inOptions.path);
    const PlannedFix plan = PlanFix(path);
    if (!plan.reason.empty())
        throw Refusal(inOptions.path, plan.result, plan.reason);

    uint32_t result = plan.result;
    if (inOptions.inPlace)
    {
        result = QT::MakeFixer()->FixMovie(path);
        if (result == QT::kQTErrFixerWrite)
            throw Refusal(inOptions.path, result,
                          "the four bytes could not be written: the file is read-only or cannot be opened "
                          "for writing");
        if (result != QT::kQTSuccess)
            throw Refusal(inOptions.path, result,
                          "the file changed before it could be fixed; nothing was written");
    }

    ListWriter out(inOptions.json, stdout);
    out.Fact("result", Cell::Unsigned(result));
    out.Fact("track", Cell::Unsigned(plan.track));
    out.Fact("position", Cell::Unsigned(plan.position));
    if (!inOptions.json)
        out.Fact("atom", Cell::Text(inOptions.inPlace ? "sdtp, now skip" : "sdtp, would become skip"));
    out.Fact("written", Cell::Boolean(inOptions.inPlace));
    out.Finish();
    return kExitSuccess;
}

} // namespace

Command FixCommand()
{
    auto options = std::make_shared<FixOptions>();
    return {"fix",
            "Disarm the sample dependency table (sdtp) of the first enabled video track: say where "
            "\"skip\" would be written over its type, or write it with --in-place",
            [options](CommandOptions& ioOptions)
            {
                ioOptions.File(options->path);
                ioOptions.Flag("--in-place", options->inPlace,
                               "Write the four bytes into the file; the only change the tool ever makes");
                ioOptions.Flag("--json", options->json, "Print one JSON object");
            },
            [options] { return RunFix(*options); }};
}

} // namespace qtsifter
