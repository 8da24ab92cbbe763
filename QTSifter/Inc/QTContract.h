#pragma once

#include <string>

namespace QT
{

// Where a contract check stands, as reported to the host's assertion handler.
struct ContractSite
{
    const char* sourcePath;
    int line;
    const char* function;
    const char* condition;
};

// First stage: hands the violation to the host's assertion handler, breaking into an
// attached debugger when the handler asks for it.
void ReportContractViolation(const ContractSite& inSite, const std::string& inMessage = {});

// Second stage: raises the input-contract error; does not return.
[[noreturn]] void ThrowContractViolation();

} // namespace QT

// Checks a caller's contract: reports and then throws when inCondition fails. The condition is
// evaluated afresh at each stage, as a handler may have changed what it reads.
#define QT_REQUIRE(inSite, inCondition)                                                                      \
    do                                                                                                       \
    {                                                                                                        \
        if (!(inCondition))                                                                                  \
            ::QT::ReportContractViolation(inSite);                                                           \
        if (!(inCondition))                                                                                  \
            ::QT::ThrowContractViolation();                                                                  \
    } while (false)
