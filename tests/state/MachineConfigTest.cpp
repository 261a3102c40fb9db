// The machine configuration: the store's rules, the exact print format, the
// printer entry point, the window-system hook behind "getwinsys", and a
// creation race.
#include "qzservices/state/features.hpp"
#include "qzservices/state/machine_config.hpp"
#include "support/capture.hpp"
#include "support/child_process.hpp"

#include <gtest/gtest.h>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <atomic>
#include <cstdarg>
#include <iomanip>
#include <sstream>
#include <thread>

using services::machine_config;

namespace {

std::string printed() {
    std::ostringstream out;
    machine_config::instance().print(out);
    return out.str();
}

std::string gCollected;
int gPrinterCalls = 0;
int collectingPrinter(char const* format, ...) {
    ++gPrinterCalls;
    va_list args;
    va_start(args, format);
    char buf[8192];
    int n = std::vsnprintf(buf, sizeof buf, format, args);
    va_end(args);
    gCollected.append(buf, static_cast<size_t>(n));
    return n;
}

char const* windowSystemName() { return "x11-test"; }
char const* secondQuery() { return "unused"; }

std::string callGetwinsys() {
    vxArray_tag* out[1] = {nullptr};
    FeatureTable::getInstance().FindFeature("getwinsys")->builtin(1, out, 0, nullptr);
    std::string text = vxArrayToStdString(out[0]);
    vxDestroyArray(out[0]);
    return text;
}

} // namespace

TEST(MachineConfigStore, AddKeepsSetReplacesRemoveAndGetOfMissingAreQuiet) {
    machine_config& config = machine_config::instance();
    config.add("Test Key A", "first");
    config.add("Test Key A", "second");
    EXPECT_EQ(config.get("Test Key A"), "first");
    config.set("Test Key A", "third");
    EXPECT_EQ(config.get("Test Key A"), "third");
    config.set("Test Key B", "new through set");
    EXPECT_EQ(config.get("Test Key B"), "new through set");
    config.remove("Test Key A");
    config.remove("Test Key B");
    EXPECT_EQ(config.get("Test Key A"), "");
    config.remove("No Such Key");  // nothing happens
    EXPECT_EQ(config.get("No Such Key"), "");
    EXPECT_EQ(config.get("CALYX Architecture"), "linux64");
    EXPECT_EQ(printed().find("Test Key"), std::string::npos);
}

TEST(MachineConfigPrint, PadsKeysToNineteenSortsByBytesAndKeepsTheStreamFormat) {
    machine_config& config = machine_config::instance();
    config.set("a lower-case key", "after all upper-case keys");
    config.set("CALYX Architecture Long Key", "long");  // 27 characters: no padding at all
    config.set("Zz", "short");
    std::ostringstream out;
    out << std::hex << std::right << std::setfill('*');
    config.print(out);
    std::string const text = out.str();
    config.remove("a lower-case key");
    config.remove("CALYX Architecture Long Key");
    config.remove("Zz");

    ASSERT_EQ(text.compare(0, 16, "\nConfiguration:\n"), 0) << text;
    ASSERT_GE(text.size(), 18u);
    EXPECT_EQ(text.substr(text.size() - 2), "\n\n");
    EXPECT_NE(text.find("\n  CALYX Architecture : linux64\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\n  CALYX Architecture Long Key: long\n"), std::string::npos) << text;
    EXPECT_NE(text.find("\n  Zz                 : short\n"), std::string::npos) << text;
    // Byte order: the long key after its prefix, lower case after all upper case.
    size_t const arch = text.find("  CALYX Architecture :");
    size_t const longKey = text.find("  CALYX Architecture Long Key");
    size_t const root = text.find("  CALYX Root");
    size_t const zz = text.find("  Zz ");
    size_t const lower = text.find("  a lower-case key");
    EXPECT_LT(arch, longKey);
    EXPECT_LT(longKey, root);
    EXPECT_LT(root, zz);
    EXPECT_LT(zz, lower);
    // The stream's own state is back as it was.
    EXPECT_TRUE(out.flags() & std::ios_base::hex);
    EXPECT_TRUE(out.flags() & std::ios_base::right);
    EXPECT_EQ(out.fill(), '*');
}

TEST(MachineConfigPrint, ReachesTheGivenPrinterOrUvPrintfWhenNull) {
    std::string const expected = printed();
    gCollected.clear();
    gPrinterCalls = 0;
    svPrintMachineConfiguration(&collectingPrinter);
    EXPECT_EQ(gCollected, expected);
    EXPECT_GE(gPrinterCalls, 1);

    qztest::Capture capture;
    svPrintMachineConfiguration(nullptr);
    EXPECT_EQ(capture.outText(), expected);
}

TEST(MachineConfigStore, JreSignatureKeepsTheFirst) {
    svSetJreSignature("Java 1.8.0_202 with Oracle Corporation");
    svSetJreSignature("another");
    EXPECT_EQ(machine_config::instance().get("Virtual Machine"), "Java 1.8.0_202 with Oracle Corporation");
    machine_config::instance().remove("Virtual Machine");
}

TEST(WindowSystemQuery, GetwinsysAsksTheFirstHookOrSaysUnknown) {
    svFeature* entry = FeatureTable::getInstance().FindFeature("GETWINSYS");
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->value, 1);
    EXPECT_EQ(entry->oneArgCallback, nullptr);

    svSetDisplayQueryFunctions(nullptr, nullptr);
    EXPECT_EQ(callGetwinsys(), "Unknown");
    svSetDisplayQueryFunctions(&windowSystemName, &secondQuery);
    EXPECT_EQ(callGetwinsys(), "x11-test");
    char const* (*first)() = nullptr;
    char const* (*second)() = nullptr;
    svGetDisplayQueryFunctions(&first, &second);
    EXPECT_EQ(first, &windowSystemName);
    EXPECT_EQ(second, &secondQuery);
    svSetDisplayQueryFunctions(nullptr, nullptr);

    vxArray_tag* out[2] = {nullptr, nullptr};
    EXPECT_THROW(entry->builtin(2, out, 0, nullptr), vx::Error);
    EXPECT_THROW(entry->builtin(1, out, 1, out), vx::Error);
}

TEST(MachineConfigInstance, TwoThreadsAtOnceSeeOneInstance) {
    // A fresh process, so that the instance is not made yet when both ask.
    auto r = qztest::runInFreshProcess([] {
        std::atomic<int> ready{0};
        machine_config* seen[2] = {nullptr, nullptr};
        auto body = [&](int i) {
            ready.fetch_add(1);
            while (ready.load() < 2) {
            }
            seen[i] = &machine_config::instance();
            seen[i]->add("Thread " + std::to_string(i), "x");
        };
        std::thread a(body, 0), b(body, 1);
        a.join();
        b.join();
        QZ_CHILD_CHECK(seen[0] != nullptr && seen[0] == seen[1], 2);
        QZ_CHILD_CHECK(seen[0]->get("Thread 0") == "x" && seen[0]->get("Thread 1") == "x", 3);
        QZ_CHILD_CHECK(seen[0]->get("CALYX Architecture") == "linux64", 4);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}
