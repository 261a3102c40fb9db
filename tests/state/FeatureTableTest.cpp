// The feature table: case-insensitive names, counting look-ups, duplicates,
// the listing and the counting built-ins.
#include "qzservices/state/features.hpp"
#include "qzservices/state/java_support.hpp"
#include "state/state_test.hpp"

using qztest::callBuiltin;
using qztest::errorIdOf;

namespace {

void rememberValue(int) {}
void noArg() {}
void clearCounts() { clearFeatureCounts(0, nullptr, 0, nullptr); }
size_t rawCount(char const* name) { return FeatureTable::getInstance().entries().find(name)->second.callCount; }
double callCountOf(char const* name) { return vxGetScalar(callBuiltin(&featureCallCount, 1, {vxCreateString(name)})[0].get()); }

TEST(FeatureRegistration, LookUpFindsAnyCaseAndKeepsThePointer) {
    svRegisterFeature("TestFeatureLookUp", 7, &rememberValue, nullptr);
    svFeature* entry = svFindFeatureEntry("testfeaturelookup");
    ASSERT_NE(nullptr, entry);
    EXPECT_STREQ("TestFeatureLookUp", entry->name);
    EXPECT_TRUE(entry->value == 7 && entry->oneArgCallback == &rememberValue && !entry->builtin && !entry->noArgCallback);
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
    size_t const before = FeatureTable::getInstance().NumFeatures();
    EXPECT_TRUE(!svFindFeatureEntry("no such feature") && !svIsFeatureRegistered("no such feature"));
    EXPECT_EQ(nullptr, svFindFeatureEntry(nullptr));
    EXPECT_EQ(before, FeatureTable::getInstance().NumFeatures());
}

TEST(FeatureRegistration, DuplicateInAnotherCaseRaisesAndCountsTheFirstAndNullFailsTheAdd) {
    svRegisterFeature("TestDuplicate", 5, &rememberValue, nullptr);
    clearCounts();
    EXPECT_EQ("CALYX:feature:duplicateFeature", errorIdOf([] { svRegisterOneArg("testDUPLICATE", 6, nullptr); }));
    svFeature const& entry = FeatureTable::getInstance().entries().find("TestDuplicate")->second;  // not counted
    EXPECT_TRUE(entry.value == 5 && entry.oneArgCallback == &rememberValue);  // the first registration stays
    EXPECT_EQ(1u, entry.callCount);  // the duplicate test's own look-up
    EXPECT_EQ("CALYX:feature:failedToAddFeature", errorIdOf([] { svRegisterOneArg(nullptr, 0, nullptr); }));
}

TEST(FeatureCounts, EveryLookUpCountsAndFeatureCallCountIncludesItself) {
    svRegisterFeature("TestCounted", 0, nullptr, nullptr);
    clearCounts();
    EXPECT_TRUE(svIsFeatureRegistered("TestCounted") && svIsFeatureRegistered("testcounted"));
    EXPECT_EQ(3.0, callCountOf("TestCounted"));
    EXPECT_EQ(0, svIsFeatureEnabled("TestCounted"));
    EXPECT_EQ(5.0, callCountOf("TESTCOUNTED"));
}

TEST(FeatureCounts, PrintingListsEveryFeatureInOrderWithoutCounting) {
    svRegisterFeature("TestPrintB", 0, nullptr, nullptr);
    svRegisterFeature("testPrintA", 0, nullptr, nullptr);
    clearCounts();
    svIsFeatureRegistered("TestPrintB");
    qztest::Capture capture;
    printFeatureCounts(0, nullptr, 0, nullptr);
    std::string const text = capture.outText();
    size_t const a = text.find("testPrintA=0\n"), b = text.find("TestPrintB=1\n");
    EXPECT_TRUE(a < b && b != std::string::npos) << text;
    EXPECT_EQ(FeatureTable::getInstance().NumFeatures(), static_cast<size_t>(std::count(text.begin(), text.end(), '\n')));
    EXPECT_EQ(1u, rawCount("TestPrintB"));
}

TEST(FeatureCounts, ArgumentsAreCheckedBeforeAnythingHappens) {
    svRegisterFeature("TestArgs", 0, nullptr, nullptr);
    svIsFeatureRegistered("TestArgs");
    auto text = [] { return vxCreateString("x"); };
    EXPECT_EQ("CALYX:maxrhs", errorIdOf([&] { callBuiltin(&clearFeatureCounts, 0, {text()}); }));
    EXPECT_EQ("CALYX:maxlhs", errorIdOf([&] { callBuiltin(&clearFeatureCounts, 1); }));
    EXPECT_EQ(1u, rawCount("TestArgs"));
    {
        qztest::Capture capture;
        EXPECT_EQ("CALYX:maxrhs", errorIdOf([&] { callBuiltin(&printFeatureCounts, 0, {text()}); }));
        EXPECT_EQ("", capture.outText());
    }
    EXPECT_EQ("CALYX:minrhs", errorIdOf([&] { callBuiltin(&featureCallCount, 1); }));
    EXPECT_EQ("CALYX:maxlhs", errorIdOf([&] { callBuiltin(&featureCallCount, 2, {text()}); }));
    EXPECT_EQ("CALYX:maxlhs", errorIdOf([&] { callBuiltin(&svListFeatures, 2); }));
    EXPECT_EQ("CALYX:maxrhs", errorIdOf([&] { callBuiltin(&svListFeatures, 1, {text()}); }));
    EXPECT_EQ("CALYX:feature:FeatureCallCount", errorIdOf([&] { callBuiltin(&featureCallCount, 1, {vxCreateDoubleScalar(3)}); }));
    EXPECT_EQ("CALYX:feature:unknownFeature", errorIdOf([&] { callCountOf("surely not registered"); }));
}

struct Registrant {
    static int constructions;
    Registrant() {
        ++constructions;
        EXPECT_EQ(1, services::static_manager<Registrant>::instance(0));  // a nested call returns at once
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

TEST(FeatureListing, OneStructPerFeatureInMapOrderWithoutCounting) {
    svRegisterNoArg("TestListNoArg", 11, &noArg);
    svRegisterFeature("testListBoth", 12, &rememberValue, &clearFeatureCounts);
    clearCounts();
    svIsFeatureRegistered("TestListNoArg");
    auto out = callBuiltin(&svListFeatures, 1);
    vxArray const* list = out[0].get();
    ASSERT_TRUE(vxGetClassID(list) == vxSTRUCT_CLASS && vxGetM(list) == 1);
    ASSERT_EQ(FeatureTable::getInstance().NumFeatures(), vxGetN(list));
    ASSERT_EQ(5, vxGetNumberOfFields(list));
    char const* expectedFields[] = {"name", "value", "has_callback", "has_builtin", "call_count"};
    for (int f = 0; f < 5; ++f) EXPECT_STREQ(expectedFields[f], vxGetFieldNameByNumber(list, f));
    std::vector<std::string> names;
    for (size_t i = 0; i < vxGetN(list); ++i) names.push_back(vxArrayToStdString(vxGetFieldByNumber(list, i, 0)));
    auto at = [&](std::string const& n) { return static_cast<size_t>(std::find(names.begin(), names.end(), n) - names.begin()); };
    EXPECT_LT(at("memmgr"), at("useJava"));
    EXPECT_LT(at("useJava"), at("WSPPEProfileClear"));
    EXPECT_LT(at("testListBoth"), at("TestListNoArg"));
    auto fields = [&](std::string const& n) {
        std::vector<double> v;
        for (int f = 1; f < 5; ++f) v.push_back(vxGetScalar(vxGetFieldByNumber(list, at(n), f)));
        return v;
    };
    ASSERT_LT(at("TestListNoArg"), names.size());
    // A no-argument callback is not reported; listing itself does not count.
    EXPECT_EQ((std::vector<double>{11, 0, 0, 1}), fields("TestListNoArg"));
    EXPECT_EQ((std::vector<double>{12, 1, 1, 0}), fields("testListBoth"));
    EXPECT_EQ(1u, rawCount("TestListNoArg"));
}

TEST(BuiltinFeatures, MemmgrReportsEachManagerWithTheAlignmentLastAndUseJavaAnswersTheLevelTest) {
    svFeature* f = svFindFeatureEntry("memmgr");
    ASSERT_TRUE(f && f->builtin && f->value == 0);
    auto out = callBuiltin(f->builtin, 1);
    vxArray const* report = out[0].get();
    ASSERT_TRUE(vxGetClassID(report) == vxSTRUCT_CLASS && vxGetNumberOfElements(report) == 1);
    int const system = vxGetFieldNumber(report, "system"), alignment = vxGetFieldNumber(report, "alignment");
    ASSERT_TRUE(system >= 0 && vxGetFieldNumber(report, "aligned") >= 0);
    EXPECT_EQ(alignment, vxGetNumberOfFields(report) - 1);
    vxArray const* s = vxGetFieldByNumber(report, 0, system);
    vxArray const* a = vxGetFieldByNumber(report, 0, alignment);
    EXPECT_TRUE(vxGetClassID(s) == vxLOGICAL_CLASS && vxGetScalar(s) == 1.0);
    EXPECT_TRUE(vxGetClassID(a) == vxUINT64_CLASS && vxGetScalar(a) == 64.0);
    EXPECT_EQ("CALYX:maxrhs", errorIdOf([&] { callBuiltin(f->builtin, 1, {vxCreateDoubleScalar(1)}); }));

    svFeature* use = svFindFeatureEntry("useJava");
    ASSERT_TRUE(use && use->value == 1);
    auto answer = callBuiltin(use->builtin, 1, {vxCreateString("JVM")});
    ASSERT_TRUE(answer[0] && vxGetClassID(answer[0].get()) == vxLOGICAL_CLASS);
    EXPECT_EQ(svJavaUse("JVM") ? 1.0 : 0.0, vxGetScalar(answer[0].get()));
    EXPECT_EQ(nullptr, callBuiltin(use->builtin, 1)[0]);  // nothing without input
}

} // namespace
