// The model's tables, its stat bracket, the ownership chain and the
// "container" feature.
#include "cat_fixture.hpp"

#include <qzservices/state/features.hpp>

#include <vx/array.hpp>

using namespace cattest;

TEST(ResultCodes, ErrorRangesAndFileAndStreamAccessFromErrno) {
    for (int code : {-1, 0, 1, 11, 12}) EXPECT_EQ(svIoStream::isError(code), code >= 1 && code <= 11) << code;
    for (int code : {2, 3, 6, 7}) EXPECT_EQ(svFile::isError(code), code >= 3 && code <= 6) << code;
    struct Row {
        int err, code;
    };
    for (Row const& r : {Row{2, 4}, Row{13, 3}, Row{20, 4}, Row{21, 6}, Row{0, 6}, Row{1, 6}, Row{5, 6}})
        EXPECT_EQ(getFileAccessFromErr(r.err), r.code) << "errno " << r.err;
    // Directory streams of both families, then file streams, which have no
    // "too long" code: 36 is an ordinary failure there.
    svStdContainerDirIoStream stdDir;
    svCatContainerDirIoStream catDir;
    svStdContainerFileBufferIoStream stdFile;
    svCatContainerFileBufferIoStream catFile;
    std::vector<Row> const dirRows = {{0, 1},  {1, 1},  {2, 9},  {3, 1},   {13, 8}, {20, 1},
                                      {23, 7}, {24, 7}, {28, 10}, {36, 5}, {37, 1}, {100, 1}};
    std::vector<Row> const fileRows = {{2, 9}, {13, 8}, {23, 7}, {24, 7}, {28, 10}, {36, 1}, {5, 1}, {0, 1}};
    auto check = [](auto& stdStream, auto& catStream, std::vector<Row> const& rows) {
        for (Row const& r : rows) {
            EXPECT_EQ(stdStream.getStreamAccessFromErr(r.err), r.code) << "errno " << r.err;
            EXPECT_EQ(catStream.getStreamAccessFromErr(r.err), r.code) << "errno " << r.err;
        }
    };
    check(stdDir, catDir, dirRows);
    check(stdFile, catFile, fileRows);
}

TEST(ResultCodes, MnemonicsAndStrings) {
    struct Row {
        int code;
        char const* mnemonic;
        char const* text;
    } const rows[] = {
        {0, "", nullptr},
        {1, nullptr, "Can@'t open file"},
        {2, nullptr, "Can@'t read file"},
        {3, "fileCorrupt", "File is corrupt"},
        {7, "tooManyfilesOpen", nullptr},
        {8, nullptr, "Cannot open file: permission denied"},
        {9, "fileNotFound", nullptr},
        {10, nullptr, "Not enough space on disk"},
        {11, "reservedDevice", "Reserved Unix device"},
    };
    for (Row const& r : rows) {
        if (r.mnemonic) { EXPECT_EQ(svIoStream::getStreamAccessMnenomics(r.code), r.mnemonic) << r.code; }
        if (r.text) { EXPECT_EQ(svIoStream::getStreamAccessStrings(r.code), r.text) << r.code; }
    }
}

TEST(StatRecord, SaveKeepsTheOffsetAndRecoverRestoresEverything) {
    svStdContainerFile f;
    f.setTime(1234);
    f.setSize(99);
    f.setFileType(1);
    f.setOffset(40);
    f.saveFileStat();
    EXPECT_EQ(f.getTime(), -1);
    EXPECT_EQ(f.getSize(), -1);
    EXPECT_EQ(f.getFileType(), 0);
    EXPECT_EQ(f.getOffset(), 40);
    f.setTime(5);
    f.recoverFileStat();
    EXPECT_EQ(f.getTime(), 1234);
    EXPECT_EQ(f.getSize(), 99);
    EXPECT_EQ(f.xgetFileStat(1), nullptr);
    f.setName("abcdef", 3);  // the two-argument form takes exactly len bytes
    EXPECT_STREQ(f.getName(), "abc");
}

namespace {
int gDestroyed = 0;
struct CountedContainer : svStdContainer {
    ~CountedContainer() override { ++gDestroyed; }
};
struct CountedFile : svStdContainerFile {
    ~CountedFile() override { ++gDestroyed; }
};

// parent <- child, each with a file attached both ways; returns the child.
svContainer* chain(svContainerFile** leafOut) {
    auto* parent = new CountedContainer;
    auto* parentFile = new CountedFile;
    parent->setFile(parentFile);
    parentFile->setDir(parent);
    auto* child = new CountedContainer;
    child->setParent(parent);
    parent->setChild(child);
    auto* leaf = new CountedFile;
    child->setFile(leaf);
    leaf->setDir(child);
    *leafOut = leaf;
    return child;
}
} // namespace

TEST(Ownership, ChainIsReleasedOnceFromEitherEndAndSettersOwn) {
    svContainerFile* leaf = nullptr;
    gDestroyed = 0;
    chain(&leaf);
    delete leaf;
    EXPECT_EQ(gDestroyed, 4);

    gDestroyed = 0;
    svContainer* child = chain(&leaf);
    delete child;
    EXPECT_EQ(gDestroyed, 4);
    // An owned setter keeps the same object, destroys one it replaces; a reset only clears.
    gDestroyed = 0;
    auto* container = new svStdContainer;
    auto* first = new CountedFile;
    container->setFile(first);
    container->setFile(first);  // the same object: kept
    EXPECT_EQ(gDestroyed, 0);
    container->setFile(new CountedFile);  // a different one: the old goes
    EXPECT_EQ(gDestroyed, 1);
    svContainerFile* kept = container->getFile();
    container->resetFile();
    delete container;
    EXPECT_EQ(gDestroyed, 1);
    delete kept;
    EXPECT_EQ(gDestroyed, 2);
}

class ContainerFeatureSwitch : public ::testing::Test {
protected:
    void TearDown() override {
        getContainerFeature().setState(0);
        svSetPathManagerDefaultIOFcns();
    }
    // The feature's built-in with one input (taken over) or none; the text it returns.
    static std::string call(int outCount, vxArray_tag* input) {
        std::unique_ptr<vxArray_tag, void (*)(vxArray_tag*)> hold(input, vxDestroyArray);
        vxArray_tag* out[1] = {nullptr};
        vxArray_tag* in[1] = {input};
        svFeature* entry = svFindFeatureEntry("container");
        EXPECT_NE(entry, nullptr);
        entry->builtin(outCount, out, input ? 1 : 0, in);
        std::string text;
        if (out[0] != nullptr) {
            text = vxArrayToStdString(out[0]);
            vxDestroyArray(out[0]);
        }
        return text;
    }
};

TEST_F(ContainerFeatureSwitch, SwitchesIgnoringCaseAndRepointsThePathManager) {
    EXPECT_EQ(call(1, nullptr), "off");
    EXPECT_FALSE(svIsContainerFeatureOn());
    EXPECT_EQ(pxGetDefaultIOFcns().listDirectory, &svPlainListDirectory);

    EXPECT_EQ(call(1, vxCreateString("ON")), "off");  // the name from before the change
    EXPECT_TRUE(svIsContainerFeatureOn());
    EXPECT_EQ(call(1, nullptr), "on");
    pxIOFcns const fcns = pxGetDefaultIOFcns();
    EXPECT_EQ(fcns.listDirectory, &svContainerListDirectory);
    EXPECT_EQ(fcns.dirAccessibility, &svContainerDirAccessibility);
    EXPECT_EQ(fcns.isReadableFile, &svContainerIsReadableFile);
    EXPECT_EQ(fcns.isDirectory, &svContainerIsDirectory);
    EXPECT_EQ(fcns.modificationTime, &svContainerModificationTime);
    // Existing paths take the new set at once.
    EXPECT_EQ(pxGetIOFcns(pxLookupPath(pxGetCurrentPathname())).listDirectory, &svContainerListDirectory);

    EXPECT_EQ(call(0, vxCreateString("Off")), "");
    EXPECT_FALSE(svIsContainerFeatureOn());
    EXPECT_EQ(pxGetDefaultIOFcns().isReadableFile, &svPlainIsReadableFile);
}

TEST_F(ContainerFeatureSwitch, RejectsOtherTextAndOtherClasses) {
    EXPECT_EQ(errorIdOf([] { call(0, vxCreateString("On ")); }), "CALYX:legacy_two_part:wrongContainerFeatureValue");
    EXPECT_EQ(errorIdOf([] { call(0, vxCreateDoubleScalar(1)); }), "CALYX:legacy_two_part:wrongContainerFeatureInput");
    EXPECT_FALSE(svIsContainerFeatureOn());
}
