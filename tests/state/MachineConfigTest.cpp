// The machine configuration: the store's rules, the exact print format, the
// printer entry point, the window-system hook behind "getwinsys", and a
// creation race.
#include "qzservices/state/features.hpp"
#include "qzservices/state/machine_config.hpp"
#include "state/state_test.hpp"

#include <cstdarg>
#include <iomanip>

using services::machine_config;

namespace {

std::string printed() {
    std::ostringstream out;
    machine_config::instance().print(out);
    return out.str();
}

std::string gCollected;
int collectingPrinter(char const* format, ...) {
    va_list args;
    va_start(args, format);
    char buf[8192];
    int n = std::vsnprintf(buf, sizeof buf, format, args);
    va_end(args);
    gCollected.append(buf, static_cast<size_t>(n));
    return n;
}

char const* windowSystemName() { return "x11-test"; }

std::string callGetwinsys() {
    return vxArrayToStdString(qztest::callBuiltin(FeatureTable::getInstance().FindFeature("getwinsys")->builtin, 1)[0].get());
}

} // namespace

TEST(MachineConfigStore, AddKeepsSetReplacesRemoveAndMissingAreQuietJreKeepsTheFirst) {
    machine_config& config = machine_config::instance();
    config.add("Test Key A", "first");
    config.add("Test Key A", "second");
    EXPECT_EQ(config.get("Test Key A"), "first");
    config.set("Test Key A", "third");
    EXPECT_EQ(config.get("Test Key A"), "third");
    config.remove("Test Key A");
    config.remove("No Such Key");
    EXPECT_EQ(config.get("Test Key A"), "");
    EXPECT_EQ(printed().find("Test Key"), std::string::npos);
    svSetJreSignature("Java 1.8.0_202 with Oracle Corporation");
    svSetJreSignature("another");
    EXPECT_EQ(config.get("Virtual Machine"), "Java 1.8.0_202 with Oracle Corporation");
    config.remove("Virtual Machine");
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
    for (char const* key : {"a lower-case key", "CALYX Architecture Long Key", "Zz"}) config.remove(key);

    ASSERT_EQ(text.compare(0, 16, "\nConfiguration:\n"), 0) << text;
    EXPECT_EQ(text.substr(text.size() - 2), "\n\n");
    // In byte order: the long key after its prefix, lower case after all upper case.
    size_t at = 0;
    for (char const* line : {"\n  CALYX Architecture : linux64\n", "\n  CALYX Architecture Long Key: long\n",
                             "\n  CALYX Root", "\n  Zz                 : short\n", "\n  a lower-case key"}) {
        size_t const found = text.find(line);
        EXPECT_TRUE(found != std::string::npos && found >= at) << line << "\n" << text;
        at = found;
    }
    EXPECT_TRUE((out.flags() & std::ios_base::hex) && (out.flags() & std::ios_base::right) && out.fill() == '*');

    gCollected.clear();
    svPrintMachineConfiguration(&collectingPrinter);
    EXPECT_EQ(gCollected, printed());
    qztest::Capture capture;
    svPrintMachineConfiguration(nullptr);  // uvPrintf
    EXPECT_EQ(capture.outText(), printed());
}

TEST(WindowSystemQuery, GetwinsysAsksTheFirstHookOrSaysUnknown) {
    svFeature* entry = FeatureTable::getInstance().FindFeature("GETWINSYS");
    ASSERT_TRUE(entry && entry->value == 1 && !entry->oneArgCallback);
    svSetDisplayQueryFunctions(nullptr, nullptr);
    EXPECT_EQ(callGetwinsys(), "Unknown");
    svSetDisplayQueryFunctions(&windowSystemName, nullptr);
    EXPECT_EQ(callGetwinsys(), "x11-test");
    svSetDisplayQueryFunctions(nullptr, nullptr);
    EXPECT_THROW(qztest::callBuiltin(entry->builtin, 2), vx::Error);
    EXPECT_THROW(qztest::callBuiltin(entry->builtin, 1, {vxCreateDoubleScalar(1)}), vx::Error);
}

TEST(MachineConfigInstance, TwoThreadsAtOnceSeeOneInstance) {
    // A fresh process, so that the instance is not made yet when both ask.
    qztest::expectInFreshProcess([] {
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
}
