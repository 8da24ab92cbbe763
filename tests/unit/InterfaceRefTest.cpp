#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "AtomBuilder.h"
#include "Capture.h"
#include "QTFourCC.h"
#include "QTMovie.h"
#include "QTSifter.h"
#include "SifterProbe.h"
#include "TestFiles.h"
#include "tenacore/classref.h"
#include "tenacore/config.h"
#include "tenacore/debug.h"

using namespace qttest;
using tenacore::classref::InterfaceRef;

namespace
{

constexpr const char* kContractText =
    "$$$/tenacore/utility/Error/Contract/InputContractViolation=An input contract violation has occurred!";

void ExpectContractError(const tenacore::config::Error& inError)
{
    EXPECT_EQ(inError.Level(), 0);
    EXPECT_EQ(inError.Code(), 105);
    EXPECT_EQ(inError.SubCode(), 25);
    EXPECT_STREQ(inError.what(), kContractText);
}

} // namespace

TEST(InterfaceRef, FunctionNameGivesTheQualifiedTypeName)
{
    using tenacore::utility::detail::FunctionName;
    EXPECT_EQ(FunctionName<QT::IQTMovie>(), "QT::IQTMovie");
    EXPECT_EQ(FunctionName<QT::QTMovie>(), "QT::QTMovie");
    EXPECT_EQ(FunctionName<QT::IQTSifter>(), "QT::IQTSifter");
    EXPECT_EQ(FunctionName<QT::QTSifter>(), "QT::QTSifter");
}

TEST(InterfaceRef, SifterAnswersExactlyItsTwoNames)
{
    const InterfaceRef<QT::IQTSifter> sifter = QT::MakeParser();
    ASSERT_TRUE(sifter);
    tenacore::classref::UnknownBase& object = *sifter.GetUnknown();
    EXPECT_EQ(object.QueryInterface("QT::IQTSifter"), static_cast<void*>(sifter.Get()));
    EXPECT_EQ(object.QueryInterface("QT::QTSifter"),
              static_cast<void*>(dynamic_cast<QT::QTSifter*>(sifter.Get())));
    EXPECT_EQ(object.QueryInterface("QT::IQTSifterX"), nullptr);
    EXPECT_EQ(object.QueryInterface("QT::QTSifterX"), nullptr);
    EXPECT_EQ(object.QueryInterface("QT::IQTSifteR"), nullptr);
    EXPECT_EQ(object.QueryInterface("QT::IQTSifte"), nullptr);
    EXPECT_EQ(object.QueryInterface("QT::IQTMovie"), nullptr);
    EXPECT_EQ(object.QueryInterface(""), nullptr);
}

TEST(InterfaceRef, MovieAnswersExactlyItsTwoNames)
{
    const Opened opened = OpenBytes(SimpleMovie());
    ASSERT_EQ(opened.result, 0u);
    tenacore::classref::UnknownBase& object = *opened.movie.GetUnknown();
    EXPECT_EQ(object.QueryInterface("QT::IQTMovie"), static_cast<void*>(opened.movie.Get()));
    EXPECT_EQ(object.QueryInterface("QT::QTMovie"),
              static_cast<void*>(dynamic_cast<QT::QTMovie*>(opened.movie.Get())));
    EXPECT_EQ(object.QueryInterface("QT::IQTMovieX"), nullptr);
    EXPECT_EQ(object.QueryInterface("QT::QTMovieX"), nullptr);
    EXPECT_EQ(object.QueryInterface("QT::IQTSifter"), nullptr);

    const InterfaceRef<QT::QTMovie> concrete = InterfaceRef<QT::QTMovie>::Query(opened.movie);
    ASSERT_TRUE(concrete);
    EXPECT_EQ(concrete->GetTrackCount(), 1u);
}

TEST(InterfaceRef, CopiesShareOneCount)
{
    const Opened opened = OpenBytes(SimpleMovie());
    ASSERT_EQ(opened.result, 0u);
    const long before = opened.movie.UseCount();
    {
        const InterfaceRef<QT::IQTMovie> copy = opened.movie;
        EXPECT_EQ(opened.movie.UseCount(), before + 1);
        EXPECT_EQ(copy.Get(), opened.movie.Get());
    }
    EXPECT_EQ(opened.movie.UseCount(), before);
}

TEST(InterfaceRef, DereferencingANullReferenceThrowsNullPointerError)
{
    const InterfaceRef<QT::IQTMovie> movie;
    EXPECT_FALSE(movie);
    EXPECT_THROW(movie->GetTrackCount(), tenacore::config::NullPointerError);
    EXPECT_THROW((void)*movie, tenacore::config::NullPointerError);

    const InterfaceRef<QT::QTMovie> concrete;
    EXPECT_THROW(concrete->GetMovieTimeScale(), tenacore::config::NullPointerError);

    const InterfaceRef<QT::IQTSifter> sifter;
    InterfaceRef<QT::IQTMovie> out;
    EXPECT_THROW(sifter->MakeMovie(u"x", out), tenacore::config::NullPointerError);
}

TEST(InterfaceRef, NullPointerErrorNamesTheInterface)
{
    const InterfaceRef<QT::IQTMovie> movie;
    try
    {
        movie->GetTrackCount();
        FAIL() << "no exception";
    }
    catch (const tenacore::config::NullPointerError& error)
    {
        EXPECT_NE(std::string(error.what()).find("QT::IQTMovie"), std::string::npos) << error.what();
    }
}

TEST(ContractAssertion, UserDataWithABadIndexReportsItsSiteAndThrows)
{
    const Opened opened = OpenBytes(SimpleMovie());
    ASSERT_EQ(opened.result, 0u);
    ASSERT_EQ(opened.movie->GetUserDataCount(), 0u);
    AssertCounter handler;
    MK::BinaryData data;
    uint32_t type = 0;
    try
    {
        opened.movie->GetUserData(0, data, type);
        FAIL() << "no exception";
    }
    catch (const tenacore::config::Error& error)
    {
        ExpectContractError(error);
    }
    ASSERT_EQ(handler.calls.size(), 1u);
    EXPECT_EQ(handler.calls[0].sourcePath, "QTSifter/Src/QTMooVAtom");
    EXPECT_EQ(handler.calls[0].line, 138);
    EXPECT_EQ(handler.calls[0].function, "QTMooVAtom::GetUserData");
    EXPECT_EQ(handler.calls[0].condition, "inIndex < GetUserDataCount()");
    EXPECT_EQ(handler.calls[0].message, "");
}

TEST(ContractAssertion, TrackItemWithABadIndexReportsItsSiteAndThrows)
{
    const Probe probe = ProbeMakeMovie(SimpleMovie());
    ASSERT_EQ(probe.result, 0u);
    AssertCounter handler;
    try
    {
        (void)probe.MooV().GetTrackItem(1);
        FAIL() << "no exception";
    }
    catch (const tenacore::config::Error& error)
    {
        ExpectContractError(error);
    }
    ASSERT_EQ(handler.calls.size(), 1u);
    EXPECT_EQ(handler.calls[0].sourcePath, "QTSifter/Src/QTMooVAtom");
    EXPECT_EQ(handler.calls[0].line, 120);
    EXPECT_EQ(handler.calls[0].function, "QTMooVAtom::GetTrackItem");
    EXPECT_EQ(handler.calls[0].condition, "inIndex < GetTrackCount()");
    EXPECT_EQ(handler.calls[0].message, "");
}

TEST(ContractAssertion, IndexAboveThirtyTwoBitsIsRefused)
{
    const Probe probe = ProbeMakeMovie(SimpleMovie());
    ASSERT_EQ(probe.result, 0u);
    AssertCounter handler;
    EXPECT_THROW((void)probe.MooV().GetTrackItem(0x100000000ull), tenacore::config::Error);
    EXPECT_EQ(handler.calls.size(), 1u);
}

TEST(ContractAssertion, HandlerAskingForABreakWithoutADebuggerStillThrows)
{
    if (tenacore::debug::IsDebuggerAttached())
        GTEST_SKIP() << "a debugger would take the break";
    const Opened opened = OpenBytes(SimpleMovie());
    ASSERT_EQ(opened.result, 0u);
    AssertCounter handler(true);
    MK::BinaryData data;
    uint32_t type = 0;
    EXPECT_THROW(opened.movie->GetUserData(3, data, type), tenacore::config::Error);
    EXPECT_EQ(handler.calls.size(), 1u);
}

// The condition is evaluated again after the report; a handler that mends it lets the call go on.
TEST(ContractAssertion, ConditionIsEvaluatedAfreshAfterTheReport)
{
    Probe probe = ProbeMakeMovie(SimpleMovie());
    ASSERT_EQ(probe.result, 0u);
    QTMooVAtom& moov = *probe.sifter->mooVAtom;
    static const uint8_t kPayload[] = {'o', 'k'};
    AssertCounter handler(false, [&moov] { moov.userData.push_back({QT::FourCC("mend"), kPayload, 2}); });
    MK::BinaryData data;
    uint32_t type = 0;
    EXPECT_NO_THROW(moov.GetUserData(0, data, type));
    EXPECT_EQ(handler.calls.size(), 1u);
    EXPECT_EQ(type, QT::FourCC("mend"));
    EXPECT_EQ(data, MK::BinaryData(kPayload, 2));
}

TEST(ContractAssertion, GoodIndexDoesNotReport)
{
    const Probe probe = ProbeMakeMovie(SimpleMovie());
    ASSERT_EQ(probe.result, 0u);
    AssertCounter handler;
    EXPECT_NO_THROW((void)probe.MooV().GetTrackItem(0));
    EXPECT_TRUE(handler.calls.empty());
}
