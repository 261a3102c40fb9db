// The feature table: case-insensitive names, counting look-ups, duplicates,
// and the counting built-ins.
#include "qzservices/state/features.hpp"
#include "qzservices/state/java_support.hpp"
#include "support/capture.hpp"

#include <gtest/gtest.h>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <algorithm>
#include <functional>
#include <memory>
#include <vector>
#include <string>

namespace {

int gCallbackValue = 0;
void rememberValue(int v) { gCallbackValue = v; }
void noArg() {}

struct ArrayDeleter {
    void operator()(vxArray* a) const { vxDestroyArray(a); }
};
typedef std::unique_ptr<vxArray, ArrayDeleter> ArrayPtr;

void clearCounts() { clearFeatureCounts(0, nullptr, 0, nullptr); }

double callCountOf(char const* name) {
    vxArray* in[1] = {vxCreateString(name)};
    vxArray* out[1] = {nullptr};
    ArrayPtr holdIn(in[0]);
    featureCallCount(1, out, 1, in);
    ArrayPtr holdOut(out[0]);
    return vxGetScalar(out[0]);
}

std::string errorIdOf(std::function<void()> const& f) {
    try {
        f();
    } catch (vx::Error const& e) {
        return e.identifier();
    }
    return "";
}

TEST(FeatureNames, CompareWithoutCaseAndShorterPrefixFirst) {
    FeatureTable::icase_less less;
    EXPECT_TRUE(less("container", "DefaultCharacterSet"));
    EXPECT_TRUE(less("DefaultCharacterSet", "getwinsys"));
    EXPECT_FALSE(less("NumThreads", "numthreads"));
    EXPECT_FALSE(less("numthreads", "NumThreads"));
    EXPECT_TRUE(less("Num", "numThreads"));
    EXPECT_FALSE(less("numThreads", "Num"));
    // Lower-casing puts '_' (0x5f) before letters but after upper case: "a_" < "ab".
    EXPECT_TRUE(less("a_", "AB"));
}

TEST(FeatureRegistration, LookUpFindsAnyCaseAndKeepsThePointerStable) {
    svRegisterFeature("TestFeatureLookUp", 7, &rememberValue, nullptr);
    svFeature* entry = svFindFeatureEntry("testfeaturelookup");
    ASSERT_NE(nullptr, entry);
    EXPECT_STREQ("TestFeatureLookUp", entry->name);
    EXPECT_EQ(7, entry->value);
    EXPECT_EQ(&rememberValue, entry->oneArgCallback);
    entry->value = 9;  // the owner rewrites the plain cell
    EXPECT_EQ(9, svIsFeatureEnabled("TESTFEATURELOOKUP"));
    // Names are not copied, so they must outlive the table.
    static std::vector<std::string> const fillers = [] {
        std::vector<std::string> names;
        for (int i = 0; i < 50; ++i) names.push_back("TestFeatureFiller" + std::to_string(i));
        return names;
    }();
    for (auto const& name : fillers) svRegisterOneArg(name.c_str(), 0, nullptr);
    EXPECT_EQ(entry, svFindFeatureEntry("TestFeatureLookUp"));
}

TEST(FeatureRegistration, UnknownNamesFindNothingAndCountNothing) {
    size_t const before = FeatureTable::getInstance().NumFeatures();
    EXPECT_EQ(nullptr, svFindFeatureEntry("no such feature"));
    EXPECT_FALSE(svIsFeatureRegistered("no such feature"));
    EXPECT_EQ(nullptr, svFindFeatureEntry(nullptr));
    EXPECT_EQ(before, FeatureTable::getInstance().NumFeatures());
}

TEST(FeatureRegistration, EachRegistrationSetsOnlyItsOwnCallbacks) {
    svRegisterNoArg("TestKindNoArg", 1, &noArg);
    svRegisterBuiltin("TestKindBuiltin", 2, &clearFeatureCounts);
    svRegisterOneArg("TestKindOneArg", 3, &rememberValue);
    svFeature* a = svFindFeatureEntry("TestKindNoArg");
    svFeature* b = svFindFeatureEntry("TestKindBuiltin");
    svFeature* c = svFindFeatureEntry("TestKindOneArg");
    ASSERT_TRUE(a && b && c);
    EXPECT_TRUE(a->noArgCallback == &noArg && a->oneArgCallback == nullptr && a->builtin == nullptr);
    EXPECT_TRUE(b->noArgCallback == nullptr && b->oneArgCallback == nullptr && b->builtin == &clearFeatureCounts);
    EXPECT_TRUE(c->noArgCallback == nullptr && c->oneArgCallback == &rememberValue && c->builtin == nullptr);
}

TEST(FeatureRegistration, DuplicateInAnotherCaseRaisesAndCountsTheFirst) {
    svRegisterFeature("TestDuplicate", 5, &rememberValue, nullptr);
    clearCounts();
    EXPECT_EQ("CALYX:feature:duplicateFeature",
              errorIdOf([] { svRegisterOneArg("testDUPLICATE", 6, nullptr); }));
    auto it = FeatureTable::getInstance().entries().find("TestDuplicate");  // a walk, not a counted look-up
    ASSERT_NE(FeatureTable::getInstance().entries().end(), it);
    svFeature* entry = &it->second;
    EXPECT_EQ(5, entry->value);  // the first registration stays
    EXPECT_EQ(&rememberValue, entry->oneArgCallback);
    EXPECT_EQ(1u, entry->callCount);  // the duplicate test's own look-up
}

TEST(FeatureRegistration, NullNameIsReportedAsAFailedAdd) {
    EXPECT_EQ("CALYX:feature:failedToAddFeature", errorIdOf([] { svRegisterOneArg(nullptr, 0, nullptr); }));
}

TEST(FeatureCounts, EveryLookUpCountsAndFeatureCallCountIncludesItself) {
    svRegisterFeature("TestCounted", 0, nullptr, nullptr);
    clearCounts();
    EXPECT_TRUE(svIsFeatureRegistered("TestCounted"));
    EXPECT_TRUE(svIsFeatureRegistered("testcounted"));
    EXPECT_EQ(3.0, callCountOf("TestCounted"));
    EXPECT_EQ(0, svIsFeatureEnabled("TestCounted"));
    EXPECT_EQ(5.0, callCountOf("TESTCOUNTED"));
}

TEST(FeatureCounts, PrintingListsEveryFeatureInOrderWithoutCounting) {
    svRegisterFeature("TestPrintB", 0, nullptr, nullptr);
    svRegisterFeature("testPrintA", 0, nullptr, nullptr);
    clearCounts();
    svIsFeatureRegistered("TestPrintB");
    std::string text;
    {
        qztest::Capture capture;
        printFeatureCounts(0, nullptr, 0, nullptr);
        text = capture.outText();
    }
    auto a = text.find("testPrintA=0\n");
    auto b = text.find("TestPrintB=1\n");
    ASSERT_NE(std::string::npos, a) << text;
    ASSERT_NE(std::string::npos, b) << text;
    EXPECT_LT(a, b);
    // One line per feature, nothing else.
    EXPECT_EQ(FeatureTable::getInstance().NumFeatures(), static_cast<size_t>(std::count(text.begin(), text.end(), '\n')));
    EXPECT_EQ(1u, FeatureTable::getInstance().entries().find("TestPrintB")->second.callCount);
}

TEST(FeatureCounts, ArgumentCountsAreCheckedBeforeAnythingHappens) {
    svRegisterFeature("TestArgs", 0, nullptr, nullptr);
    svIsFeatureRegistered("TestArgs");
    vxArray* dummy[2] = {nullptr, nullptr};
    EXPECT_EQ("CALYX:maxrhs", errorIdOf([&] { clearFeatureCounts(0, nullptr, 1, dummy); }));
    EXPECT_EQ("CALYX:maxlhs", errorIdOf([&] { clearFeatureCounts(1, dummy, 0, nullptr); }));
    EXPECT_EQ(1u, FeatureTable::getInstance().entries().find("TestArgs")->second.callCount);
    {
        qztest::Capture capture;
        EXPECT_EQ("CALYX:maxrhs", errorIdOf([&] { printFeatureCounts(0, nullptr, 1, dummy); }));
        EXPECT_EQ("", capture.outText());
    }
    EXPECT_EQ("CALYX:minrhs", errorIdOf([&] { featureCallCount(1, dummy, 0, nullptr); }));
    EXPECT_EQ("CALYX:maxlhs", errorIdOf([&] { featureCallCount(2, dummy, 1, dummy); }));
}

TEST(FeatureCounts, FeatureCallCountRejectsNonTextAndUnknownNames) {
    ArrayPtr number(vxCreateDoubleScalar(3));
    vxArray* in[1] = {number.get()};
    vxArray* out[1] = {nullptr};
    EXPECT_EQ("CALYX:feature:FeatureCallCount", errorIdOf([&] { featureCallCount(1, out, 1, in); }));
    ArrayPtr name(vxCreateString("surely not registered"));
    in[0] = name.get();
    EXPECT_EQ("CALYX:feature:unknownFeature", errorIdOf([&] { featureCallCount(1, out, 1, in); }));
    EXPECT_EQ(nullptr, out[0]);
}

struct Registrant {
    static int constructions;
    Registrant() {
        ++constructions;
        // A nested call while constructing returns at once.
        EXPECT_EQ(1, services::static_manager<Registrant>::instance(0));
        svRegisterOneArg("TestStaticManager", 4, nullptr);
    }
};
int Registrant::constructions = 0;

TEST(StaticManager, ConstructsOnceAndRegisters) {
    EXPECT_EQ(1, services::static_manager<Registrant>::instance(0));
    EXPECT_EQ(1, services::static_manager<Registrant>::instance(0));
    EXPECT_EQ(1, Registrant::constructions);
    EXPECT_EQ(4, svIsFeatureEnabled("TestStaticManager"));
}

} // namespace

namespace {

std::string fieldText(vxArray const* list, size_t i, int field) { return vxArrayToStdString(vxGetFieldByNumber(list, i, field)); }
double fieldNumber(vxArray const* list, size_t i, int field) { return vxGetScalar(vxGetFieldByNumber(list, i, field)); }

TEST(FeatureListing, OneStructPerFeatureInMapOrderWithoutCounting) {
    svRegisterNoArg("TestListNoArg", 11, &noArg);
    svRegisterFeature("testListBoth", 12, &rememberValue, &clearFeatureCounts);
    clearCounts();
    svIsFeatureRegistered("TestListNoArg");
    vxArray* out[1] = {nullptr};
    svListFeatures(1, out, 0, nullptr);
    ArrayPtr list(out[0]);
    ASSERT_EQ(vxSTRUCT_CLASS, vxGetClassID(list.get()));
    ASSERT_EQ(1u, vxGetM(list.get()));
    ASSERT_EQ(FeatureTable::getInstance().NumFeatures(), vxGetN(list.get()));
    ASSERT_EQ(5, vxGetNumberOfFields(list.get()));
    char const* expectedFields[] = {"name", "value", "has_callback", "has_builtin", "call_count"};
    for (int f = 0; f < 5; ++f) EXPECT_STREQ(expectedFields[f], vxGetFieldNameByNumber(list.get(), f));

    std::vector<std::string> names;
    for (size_t i = 0; i < vxGetN(list.get()); ++i) names.push_back(fieldText(list.get(), i, 0));
    // Case-insensitive order, whatever the order of registration.
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end(), FeatureTable::icase_less()));
    auto at = [&](std::string const& n) { return static_cast<size_t>(std::find(names.begin(), names.end(), n) - names.begin()); };
    EXPECT_LT(at("memmgr"), at("useJava"));
    EXPECT_LT(at("useJava"), at("WSPPEProfileClear"));
    EXPECT_LT(at("testListBoth"), at("TestListNoArg"));

    size_t const noArgAt = at("TestListNoArg");
    ASSERT_LT(noArgAt, names.size());
    EXPECT_EQ(11.0, fieldNumber(list.get(), noArgAt, 1));
    EXPECT_EQ(0.0, fieldNumber(list.get(), noArgAt, 2));  // a no-argument callback is not reported
    EXPECT_EQ(0.0, fieldNumber(list.get(), noArgAt, 3));
    EXPECT_EQ(1.0, fieldNumber(list.get(), noArgAt, 4));
    size_t const bothAt = at("testListBoth");
    EXPECT_EQ(1.0, fieldNumber(list.get(), bothAt, 2));
    EXPECT_EQ(1.0, fieldNumber(list.get(), bothAt, 3));
    EXPECT_EQ(0.0, fieldNumber(list.get(), bothAt, 4));
    // Listing did not count.
    EXPECT_EQ(1u, FeatureTable::getInstance().entries().find("TestListNoArg")->second.callCount);
}

TEST(FeatureListing, TooManyOutputsOrAnyInputIsRefusedFirst) {
    vxArray* out[2] = {nullptr, nullptr};
    EXPECT_EQ("CALYX:maxlhs", errorIdOf([&] { svListFeatures(2, out, 0, nullptr); }));
    EXPECT_EQ("CALYX:maxrhs", errorIdOf([&] { svListFeatures(1, out, 1, out); }));
    EXPECT_EQ(nullptr, out[0]);
}

TEST(MemoryManagerFeature, ReportsEachManagerAndTheAlignment) {
    svFeature* f = svFindFeatureEntry("memmgr");
    ASSERT_NE(nullptr, f);
    ASSERT_NE(nullptr, f->builtin);
    EXPECT_EQ(0, f->value);
    vxArray* out[1] = {nullptr};
    f->builtin(1, out, 0, nullptr);
    ArrayPtr report(out[0]);
    ASSERT_EQ(vxSTRUCT_CLASS, vxGetClassID(report.get()));
    EXPECT_EQ(1u, vxGetNumberOfElements(report.get()));
    int const system = vxGetFieldNumber(report.get(), "system");
    int const aligned = vxGetFieldNumber(report.get(), "aligned");
    int const alignment = vxGetFieldNumber(report.get(), "alignment");
    ASSERT_TRUE(system >= 0 && aligned >= 0 && alignment >= 0);
    EXPECT_EQ(alignment, vxGetNumberOfFields(report.get()) - 1);  // added last
    EXPECT_EQ(vxLOGICAL_CLASS, vxGetClassID(vxGetFieldByNumber(report.get(), 0, system)));
    EXPECT_EQ(1.0, vxGetScalar(vxGetFieldByNumber(report.get(), 0, system)));
    vxArray const* a = vxGetFieldByNumber(report.get(), 0, alignment);
    EXPECT_EQ(vxUINT64_CLASS, vxGetClassID(a));
    EXPECT_EQ(64.0, vxGetScalar(a));
    vxArray* in[1] = {report.get()};
    EXPECT_EQ("CALYX:maxrhs", errorIdOf([&] { f->builtin(1, out, 1, in); }));
}

TEST(UseJavaFeature, AnswersTheLevelTestAsALogicalAndNothingWithoutInput) {
    svFeature* f = svFindFeatureEntry("useJava");
    ASSERT_NE(nullptr, f);
    EXPECT_EQ(1, f->value);
    ArrayPtr what(vxCreateString("JVM"));
    vxArray* in[1] = {what.get()};
    vxArray* out[1] = {nullptr};
    f->builtin(1, out, 1, in);
    ArrayPtr answer(out[0]);
    ASSERT_NE(nullptr, answer);
    EXPECT_EQ(vxLOGICAL_CLASS, vxGetClassID(answer.get()));
    EXPECT_EQ(svJavaUse("JVM") ? 1.0 : 0.0, vxGetScalar(answer.get()));
    out[0] = nullptr;
    f->builtin(1, out, 0, nullptr);
    EXPECT_EQ(nullptr, out[0]);
}

} // namespace
