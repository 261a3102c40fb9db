// The feature table: case-insensitive names, counting look-ups, duplicates,
// the listing and the counting built-ins.
#include "qzservices/state/features.hpp"
#include "qzservices/state/java_support.hpp"
#include "state/state_test.hpp"



using qztest::ArrayPtr;
using qztest::errorIdOf;

namespace {

void rememberValue(int) {}
void noArg() {}
void clearCounts() { clearFeatureCounts(0, nullptr, 0, nullptr); }
size_t rawCount(char const* name) { return FeatureTable::getInstance().entries().find(name)->second.callCount; }

double callCountOf(char const* name) {
    ArrayPtr in(vxCreateString(name));
    vxArray* args[1] = {in.get()};
    vxArray* out[1] = {nullptr};
    featureCallCount(1, out, 1, args);
    return vxGetScalar(ArrayPtr(out[0]).get());
}

TEST(FeatureNames, CompareWithoutCaseAndShorterPrefixFirst) {
    FeatureTable::icase_less less;
    EXPECT_TRUE(less("container", "DefaultCharacterSet") && less("DefaultCharacterSet", "getwinsys"));
    EXPECT_FALSE(less("NumThreads", "numthreads") || less("numthreads", "NumThreads"));
    EXPECT_TRUE(less("Num", "numThreads") && !less("numThreads", "Num"));
    EXPECT_TRUE(less("a_", "AB"));  // lower-cased, '_' sorts before letters
}

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
    EXPECT_EQ(nullptr, svFindFeatureEntry("no such feature"));
    EXPECT_FALSE(svIsFeatureRegistered("no such feature"));
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
    ASSERT_TRUE(a != std::string::npos && b != std::string::npos) << text;
    EXPECT_LT(a, b);
    EXPECT_EQ(FeatureTable::getInstance().NumFeatures(), static_cast<size_t>(std::count(text.begin(), text.end(), '\n')));
    EXPECT_EQ(1u, rawCount("TestPrintB"));
}

TEST(FeatureCounts, ArgumentsAreCheckedBeforeAnythingHappens) {
    svRegisterFeature("TestArgs", 0, nullptr, nullptr);
    svIsFeatureRegistered("TestArgs");
    vxArray* dummy[2] = {nullptr, nullptr};
    EXPECT_EQ("CALYX:maxrhs", errorIdOf([&] { clearFeatureCounts(0, nullptr, 1, dummy); }));
    EXPECT_EQ("CALYX:maxlhs", errorIdOf([&] { clearFeatureCounts(1, dummy, 0, nullptr); }));
    EXPECT_EQ(1u, rawCount("TestArgs"));
    {
        qztest::Capture capture;
        EXPECT_EQ("CALYX:maxrhs", errorIdOf([&] { printFeatureCounts(0, nullptr, 1, dummy); }));
        EXPECT_EQ("", capture.outText());
    }
    EXPECT_EQ("CALYX:minrhs", errorIdOf([&] { featureCallCount(1, dummy, 0, nullptr); }));
    EXPECT_EQ("CALYX:maxlhs", errorIdOf([&] { featureCallCount(2, dummy, 1, dummy); }));
    EXPECT_EQ("CALYX:maxlhs", errorIdOf([&] { svListFeatures(2, dummy, 0, nullptr); }));
    EXPECT_EQ("CALYX:maxrhs", errorIdOf([&] { svListFeatures(1, dummy, 1, dummy); }));
    ArrayPtr number(vxCreateDoubleScalar(3)), name(vxCreateString("surely not registered"));
    vxArray* in[1] = {number.get()};
    EXPECT_EQ("CALYX:feature:FeatureCallCount", errorIdOf([&] { featureCallCount(1, dummy, 1, in); }));
    in[0] = name.get();
    EXPECT_EQ("CALYX:feature:unknownFeature", errorIdOf([&] { featureCallCount(1, dummy, 1, in); }));
    EXPECT_EQ(nullptr, dummy[0]);
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
    for (size_t i = 0; i < vxGetN(list.get()); ++i) names.push_back(vxArrayToStdString(vxGetFieldByNumber(list.get(), i, 0)));
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end(), FeatureTable::icase_less()));
    auto at = [&](std::string const& n) { return static_cast<size_t>(std::find(names.begin(), names.end(), n) - names.begin()); };
    EXPECT_LT(at("memmgr"), at("useJava"));
    EXPECT_LT(at("useJava"), at("WSPPEProfileClear"));
    EXPECT_LT(at("testListBoth"), at("TestListNoArg"));
    auto fields = [&](std::string const& n) {
        std::vector<double> v;
        for (int f = 1; f < 5; ++f) v.push_back(vxGetScalar(vxGetFieldByNumber(list.get(), at(n), f)));
        return v;
    };
    ASSERT_LT(at("TestListNoArg"), names.size());
    // A no-argument callback is not reported; listing itself does not count.
    EXPECT_EQ((std::vector<double>{11, 0, 0, 1}), fields("TestListNoArg"));
    EXPECT_EQ((std::vector<double>{12, 1, 1, 0}), fields("testListBoth"));
    EXPECT_EQ(1u, rawCount("TestListNoArg"));
}

TEST(MemoryManagerFeature, ReportsEachManagerAndTheAlignmentLast) {
    svFeature* f = svFindFeatureEntry("memmgr");
    ASSERT_TRUE(f && f->builtin && f->value == 0);
    vxArray* out[1] = {nullptr};
    f->builtin(1, out, 0, nullptr);
    ArrayPtr report(out[0]);
    ASSERT_TRUE(vxGetClassID(report.get()) == vxSTRUCT_CLASS && vxGetNumberOfElements(report.get()) == 1);
    int const system = vxGetFieldNumber(report.get(), "system"), alignment = vxGetFieldNumber(report.get(), "alignment");
    ASSERT_TRUE(system >= 0 && vxGetFieldNumber(report.get(), "aligned") >= 0);
    EXPECT_EQ(alignment, vxGetNumberOfFields(report.get()) - 1);
    vxArray const* s = vxGetFieldByNumber(report.get(), 0, system);
    EXPECT_TRUE(vxGetClassID(s) == vxLOGICAL_CLASS && vxGetScalar(s) == 1.0);
    vxArray const* a = vxGetFieldByNumber(report.get(), 0, alignment);
    EXPECT_TRUE(vxGetClassID(a) == vxUINT64_CLASS && vxGetScalar(a) == 64.0);
    vxArray* in[1] = {report.get()};
    EXPECT_EQ("CALYX:maxrhs", errorIdOf([&] { f->builtin(1, out, 1, in); }));
}

TEST(UseJavaFeature, AnswersTheLevelTestAsALogicalAndNothingWithoutInput) {
    svFeature* f = svFindFeatureEntry("useJava");
    ASSERT_TRUE(f && f->value == 1);
    ArrayPtr what(vxCreateString("JVM"));
    vxArray* in[1] = {what.get()};
    vxArray* out[1] = {nullptr};
    f->builtin(1, out, 1, in);
    ArrayPtr answer(out[0]);
    ASSERT_TRUE(answer && vxGetClassID(answer.get()) == vxLOGICAL_CLASS);
    EXPECT_EQ(svJavaUse("JVM") ? 1.0 : 0.0, vxGetScalar(answer.get()));
    out[0] = nullptr;
    f->builtin(1, out, 0, nullptr);
    EXPECT_EQ(nullptr, out[0]);
}

} // namespace
