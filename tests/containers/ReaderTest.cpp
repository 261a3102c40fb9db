// The source-file readers, from disk and from inside a CAT file.
#include "cat_fixture.hpp"

#include <qzservices/containers/CxfileReader.hpp>

#include <uv/cycle_counter.hpp>
#include <uv/mem_context.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <boost/bind/bind.hpp>

#include <cstring>
#include <memory>

using namespace cattest;

namespace {
struct UvFree {
    void operator()(void* p) const { uvFree(p); }
};
struct Context {
    Context() : context(uv_mem_create_context()) {}
    ~Context() { uv_mem_destroy_context(context); }
    _memory_context* context;
};
} // namespace

using Readers = ScratchDir;

TEST_F(Readers, PlainReaderReadsFromDiskIntoTheCallersContext) {
    write("prog.m", "disp(1)\n");
    Context c;
    PlaintextCxfileReader reader;
    unsigned long size = 0;
    ioErrorMessage error = -1;
    char* bytes = static_cast<char*>(reader.read(&size, c.context, path("prog.m").c_str(), &error));
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(size, 8u);
    EXPECT_EQ(std::string(bytes, size), "disp(1)\n");
    EXPECT_EQ(bytes[size], '\0');
    EXPECT_EQ(uv_mem_context_blocks(c.context), 1u);  // the context frees it
    EXPECT_EQ(uv_mem_context_bytes(c.context), 9u);
}

TEST_F(Readers, EmptyFilesGiveOneZeroByte) {
    write("empty.m", "");
    write("in.cat", catFile({file("empty.m", "")}, true));
    Context c;
    PlaintextCxfileReader plain;
    ContainerCxfileReader container;
    unsigned long size = 99;
    ioErrorMessage error = -1;
    char* a = static_cast<char*>(plain.read(&size, c.context, path("empty.m").c_str(), &error));
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(a[0], '\0');
    size = 99;
    error = -1;
    std::unique_ptr<char, UvFree> b(static_cast<char*>(container.read(&size, nullptr, path("in.cat/empty.m").c_str(), &error)));
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(b.get()[0], '\0');
}

TEST_F(Readers, PathInsideACatNeedsTheContainerReader) {
    write("tb.cat", catFile({dir("private", {file("helper.m", "function helper\nend\n")})}, false));
    std::string const inner = path("tb.cat/private/helper.m");
    ContainerCxfileReader container;
    unsigned long size = 0;
    ioErrorMessage error = -1;
    std::unique_ptr<char, UvFree> bytes(static_cast<char*>(container.read(&size, nullptr, inner.c_str(), &error)));
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(std::string(bytes.get(), size), "function helper\nend\n");

    // The file system cannot walk into the CAT file: the open fails and is reported.
    Context c;
    PlaintextCxfileReader plain;
    error = -1;
    EXPECT_THROW(plain.read(&size, c.context, inner.c_str(), &error), vx::Error);
    EXPECT_EQ(error, 1);
    EXPECT_EQ(uv_mem_context_blocks(c.context), 0u);
}

TEST_F(Readers, MissingFilesReportTheirStage) {
    Context c;
    PlaintextCxfileReader plain;
    ioErrorMessage error = -1;
    unsigned long size = 5;
    EXPECT_EQ(plain.read(&size, c.context, path("none.m").c_str(), &error), nullptr);  // quiet: missing
    EXPECT_EQ(error, 1);
    ContainerCxfileReader container;
    error = -1;
    EXPECT_EQ(container.read(&size, nullptr, path("none.m").c_str(), &error), nullptr);
    EXPECT_EQ(error, 9);
    EXPECT_EQ(size, 0u);
    // A directory asked for as a file.
    makeDir("d");
    error = -1;
    EXPECT_EQ(container.read(&size, nullptr, path("d").c_str(), &error), nullptr);
    EXPECT_NE(error, 0);
}

TEST_F(Readers, PlainReaderReadsTheRestOfAnOpenStream) {
    write("s.m", "stream text");
    Context c;
    FILE* f = std::fopen(path("s.m").c_str(), "rb");
    ASSERT_NE(f, nullptr);
    unsigned long size = 0;
    char* bytes = static_cast<char*>(PlaintextCxfileReader().read(&size, c.context, f));
    std::fclose(f);
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(std::string(bytes, size), "stream text");
}

TEST_F(Readers, SwitchableReaderAsksItsChooserOncePerRead) {
    write("tb.cat", catFile({file("f.m", "from the cat")}, true));
    write("f.m", "from the disk");
    int calls = 0;
    bool useContainer = true;
    boost::function0<bool> chooser = [&]() {
        ++calls;
        return useContainer;
    };
    SwitchableCxfileReader reader(new ContainerCxfileReader, new PlaintextCxfileReader, chooser);
    unsigned long size = 0;
    ioErrorMessage error = -1;
    std::unique_ptr<char, UvFree> a(static_cast<char*>(reader.read(&size, nullptr, path("tb.cat/f.m").c_str(), &error)));
    EXPECT_EQ(calls, 1);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(std::string(a.get(), size), "from the cat");
    useContainer = false;
    Context c;
    char* b = static_cast<char*>(reader.read(&size, c.context, path("f.m").c_str(), &error));
    EXPECT_EQ(calls, 2);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(std::string(b, size), "from the disk");

    // A chooser that looks at the name.
    boost::function1<bool, char const*> byName = [](char const* p) { return std::strstr(p, ".cat/") != nullptr; };
    SwitchableCxfileReader named(new ContainerCxfileReader, new PlaintextCxfileReader, byName);
    std::unique_ptr<char, UvFree> d(static_cast<char*>(named.read(&size, nullptr, path("tb.cat/f.m").c_str(), &error)));
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(std::string(d.get(), size), "from the cat");

    SwitchableCxfileReader empty(new ContainerCxfileReader, new PlaintextCxfileReader,
                                 boost::function1<bool, char const*>());
    EXPECT_THROW(empty.read(&size, nullptr, "x", &error), boost::bad_function_call);
}

TEST_F(Readers, CycleCounterTimesTheStagesWhenOn) {
    write("t.m", "timed");
    Context c;
    PlaintextCxfileReader reader;
    unsigned long size = 0;
    reader.read(&size, c.context, path("t.m").c_str(), nullptr);
    uvCpuCycleCounter* counter = uvFindCpuCycleCounter("Reader");
    ASSERT_NE(counter, nullptr);
    ASSERT_EQ(counter->bins(), 3);
    EXPECT_EQ(counter->binName(1), "   Reader: size         ");
    unsigned long long const before = counter->count(2);
    bool const wasOn = counter->isOn();
    counter->setOn(true);
    reader.read(&size, c.context, path("t.m").c_str(), nullptr);
    counter->setOn(wasOn);
    EXPECT_EQ(counter->count(0), before + 1);
    EXPECT_EQ(counter->count(2), before + 1);
}

TEST_F(Readers, ContainerReaderRefusesWhatIsNotAFile) {
    ContainerCxfileReader reader;
    unsigned long size = 7;
    ioErrorMessage error = 0;
    EXPECT_EQ(reader.read(&size, nullptr, "/", &error), nullptr);
    EXPECT_NE(error, 0);
    EXPECT_EQ(size, 0u);
    write("t.cat", catFile({dir("d", {})}, false));
    error = 0;
    EXPECT_EQ(reader.read(&size, nullptr, path("t.cat").c_str(), &error), nullptr);
    EXPECT_NE(error, 0);
    error = 0;
    EXPECT_EQ(reader.read(&size, nullptr, path("t.cat/d").c_str(), &error), nullptr);
    EXPECT_NE(error, 0);
}
