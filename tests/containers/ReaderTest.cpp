// The source-file readers, from disk and from inside a CAT file.
#include "cat_fixture.hpp"

#include <uv/cycle_counter.hpp>
#include <uv/mem_context.hpp>
#include <vx/errors.hpp>

using namespace cattest;

namespace {

struct Context {
    Context() : context(uv_mem_create_context()) {}
    ~Context() { uv_mem_destroy_context(context); }
    _memory_context* context;
};

} // namespace

using Readers = ScratchDir;

TEST_F(Readers, SourceFromDiskAndFromInsideACat) {
    write("prog.cx", "disp(1)\n");
    write("empty.cx", "");
    write("tb.cat", catFile({dir("private", {file("helper.cx", "function helper\nend\n")}), file("e.cx", "")}, false));
    makeDir("d");
    Context c;
    PlaintextCxfileReader plain;
    ContainerCxfileReader container;
    EXPECT_EQ(readWith(plain, path("prog.cx"), c.context), "disp(1)\n");
    EXPECT_EQ(uv_mem_context_blocks(c.context), 1u);  // the plain reader's buffer belongs to the context
    EXPECT_EQ(uv_mem_context_bytes(c.context), 9u);
    EXPECT_EQ(readWith(plain, path("empty.cx"), c.context), "");
    EXPECT_EQ(readWith(container, path("tb.cat/private/helper.cx")), "function helper\nend\n");
    EXPECT_EQ(readWith(container, path("tb.cat/e.cx")), "");
    EXPECT_EQ(readWith(container, path("prog.cx")), "disp(1)\n");
    // Each stage that fails reports itself: missing files quietly.
    EXPECT_EQ(readWith(plain, path("none.cx"), c.context), "<code 1>");
    EXPECT_EQ(readWith(container, path("none.cx")), "<code 9>");
    for (std::string const& notAFile : {path("d"), path("tb.cat"), path("tb.cat/private"), std::string("/")}) {
        std::string const result = readWith(container, notAFile);
        EXPECT_TRUE(result.rfind("<code ", 0) == 0 && result != "<code 0>" && result != "<code -1>") << notAFile << ": " << result;
    }
    // The file system cannot walk into the CAT file: the plain open fails and raises.
    Context other;
    unsigned long size = 5;
    ioErrorMessage error = -1;
    EXPECT_EQ(container.read(&size, nullptr, path("none.cx").c_str(), &error), nullptr);
    EXPECT_EQ(size, 0u);  // a failed container read sizes nothing
    EXPECT_THROW(plain.read(&size, other.context, path("tb.cat/private/helper.cx").c_str(), &error), vx::Error);
    EXPECT_EQ(error, 1);
    EXPECT_EQ(uv_mem_context_blocks(other.context), 0u);
    // A directory is no readable file: the open's code, and nothing allocated.
    for (std::string const& dirPath : {path("d"), path("d") + "/", std::string("/")}) {
        SCOPED_TRACE(dirPath);
        error = -1;
        EXPECT_EQ(plain.read(&size, other.context, dirPath.c_str(), &error), nullptr);
        EXPECT_EQ(error, 1);
        EXPECT_EQ(uv_mem_context_blocks(other.context), 0u);
        FILE* d = std::fopen(dirPath.c_str(), "rb");
        ASSERT_NE(d, nullptr);
        EXPECT_EQ(plain.read(&size, other.context, d), nullptr);
        std::fclose(d);
    }
    // An open stream, read whole.
    FILE* f = std::fopen(path("prog.cx").c_str(), "rb");
    ASSERT_NE(f, nullptr);
    char* whole = static_cast<char*>(plain.read(&size, c.context, f));
    std::fclose(f);
    ASSERT_NE(whole, nullptr);
    EXPECT_EQ(std::string(whole, size), "disp(1)\n");
}

TEST_F(Readers, SwitchableReaderAsksItsChooserOncePerRead) {
    write("tb.cat", catFile({file("f.cx", "from the cat")}, true));
    write("f.cx", "from the disk");
    int calls = 0;
    bool useContainer = true;
    boost::function0<bool> chooser = [&]() {
        ++calls;
        return useContainer;
    };
    SwitchableCxfileReader reader(new ContainerCxfileReader, new PlaintextCxfileReader, chooser);
    EXPECT_EQ(readWith(reader, path("tb.cat/f.cx")), "from the cat");
    EXPECT_EQ(calls, 1);
    useContainer = false;
    Context c;
    EXPECT_EQ(readWith(reader, path("f.cx"), c.context), "from the disk");
    EXPECT_EQ(calls, 2);
    // A chooser that looks at the name; and none at all.
    boost::function1<bool, char const*> byName = [](char const* p) { return std::strstr(p, ".cat/") != nullptr; };
    SwitchableCxfileReader named(new ContainerCxfileReader, new PlaintextCxfileReader, byName);
    EXPECT_EQ(readWith(named, path("tb.cat/f.cx")), "from the cat");
    SwitchableCxfileReader empty(new ContainerCxfileReader, new PlaintextCxfileReader,
                                 boost::function1<bool, char const*>());
    EXPECT_THROW(readWith(empty, "x"), boost::bad_function_call);
}

TEST_F(Readers, CycleCounterTimesTheStagesWhenOn) {
    write("t.cx", "timed");
    Context c;
    PlaintextCxfileReader reader;
    readWith(reader, path("t.cx"), c.context);
    uvCpuCycleCounter* counter = uvFindCpuCycleCounter("Reader");
    ASSERT_NE(counter, nullptr);
    ASSERT_EQ(counter->bins(), 3);
    EXPECT_EQ(counter->binName(1), "   Reader: size         ");
    unsigned long long const before = counter->count(2);
    bool const wasOn = counter->isOn();
    counter->setOn(true);
    readWith(reader, path("t.cx"), c.context);
    counter->setOn(wasOn);
    EXPECT_EQ(counter->count(0), before + 1);
    EXPECT_EQ(counter->count(2), before + 1);
}
