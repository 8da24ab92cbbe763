#pragma once

#include <string>

namespace QT
{

// Where a contract check stands, as reported to the host's assertion handler. A site whose
// function is null serves several operations, each of which names itself when it checks.
struct ContractSite
{
    const char* sourcePath;
    int line;
    const char* function;
    const char* condition;
    const char* message = "";

    constexpr ContractSite For(const char* inFunction) const
    {
        return {sourcePath, line, inFunction, condition, message};
    }
};

// Every contract check of the library. The texts are what hosts see in their assertion handler,
// so they stay as they are whatever the sources become.
namespace ContractSites
{

inline constexpr ContractSite kGetTrackItem{"QTSifter/Src/QTMooVAtom", 120, "QTMooVAtom::GetTrackItem",
                                            "inIndex < GetTrackCount()"};
inline constexpr ContractSite kGetUserData{"QTSifter/Src/QTMooVAtom", 138, "QTMooVAtom::GetUserData",
                                           "inIndex < GetUserDataCount()"};
inline constexpr ContractSite kGetIndTrack{"QTSifter/Src/QTMovie", 77, "QT::QTMovie::GetIndTrack",
                                           "inWhichTrack < GetTrackCount()"};
inline constexpr ContractSite kChunkOffsetEntry{"QTSifter/Inc/QTShared", 25, "ChunkOffsetHelper::GetEntry",
                                                "false", "Invalid entryIdx"};
// The video accessors: each reports under its own name and gives its wrong-type value.
inline constexpr ContractSite kVideoMediaType{"QTSifter/Src/QTTrack_Video", 71, nullptr, "false",
                                              "Invalid Video Media Type"};
// The audio accessors: reported, then raised, so that nothing behind the check runs.
inline constexpr ContractSite kAudioMediaType{"QTSifter/Src/QTTrack_Audio", 119, nullptr,
                                              "GetTrackMediaType() == kAudioMediaType"};

// The timecode sample location: reported, then raised.
inline constexpr ContractSite kTimecodeMediaType{"QTSifter/Src/QTTrack_TimeCode", 83,
                                                 "QT::QTTrack::GetTimecodeMediaSampleLocation",
                                                 "GetTrackMediaType() == kTimecodeMediaType"};

// Every site, for the test that triggers each.
inline constexpr const ContractSite* kAll[] = {&kGetTrackItem,     &kGetUserData,    &kGetIndTrack,
                                               &kChunkOffsetEntry, &kVideoMediaType, &kAudioMediaType,
                                               &kTimecodeMediaType};

} // namespace ContractSites

// First stage: hands the violation to the host's assertion handler, breaking into an
// attached debugger when the handler asks for it.
void ReportContractViolation(const ContractSite& inSite);

// Second stage: raises the input-contract error; does not return.
[[noreturn]] void ThrowContractViolation();

// The two forms of a contract check. Some operations report and then give a stated value; the
// others report and then raise, so that nothing behind the check runs on bad input.
enum class ContractForm
{
    ReportAndReturn,
    ReportAndRaise,
};

// Checks a caller's contract: false after the report in the returning form; in the raising form
// the condition is asked afresh, as a handler may have changed what it reads, and a second
// failure raises.
template <class Condition>
[[nodiscard]] bool CheckContract(const ContractSite& inSite, ContractForm inForm, Condition&& inCondition)
{
    if (inCondition())
        return true;
    ReportContractViolation(inSite);
    if (inForm == ContractForm::ReportAndReturn)
        return false;
    if (!inCondition())
        ThrowContractViolation();
    return true;
}

// The media type check that opens the accessors of one media kind, in either form.
template <class Track>
[[nodiscard]] bool CheckMediaType(Track& inTrack, uint32_t inMediaType, const ContractSite& inSite,
                                  const char* inFunction, ContractForm inForm)
{
    return CheckContract(inSite.For(inFunction), inForm,
                         [&] { return inTrack.GetTrackMediaType() == inMediaType; });
}

// An index or count check: reports and raises.
template <class Condition>
void Require(const ContractSite& inSite, Condition&& inCondition)
{
    (void)CheckContract(inSite, ContractForm::ReportAndRaise, inCondition);
}

} // namespace QT
