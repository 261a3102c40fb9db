// The model's tables, its stat bracket, the ownership chain and the
// "container" feature.
#include "cat_fixture.hpp"

#include <qzservices/containers/ContainerFeature.hpp>
#include <qzservices/containers/path_manager_fcns.hpp>
#include <qzservices/containers/svCatContainer.hpp>
#include <qzservices/containers/svStdContainer.hpp>
#include <qzservices/state/features.hpp>

#include <px/px.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <memory>

using namespace cattest;

TEST(ResultCodes, ErrorRangesOfFileAndStreamCodes) {
    EXPECT_FALSE(svIoStream::isError(0));
    EXPECT_FALSE(svIoStream::isError(-1));
    EXPECT_TRUE(svIoStream::isError(1));
    EXPECT_TRUE(svIoStream::isError(11));
    EXPECT_FALSE(svIoStream::isError(12));
    EXPECT_FALSE(svFile::isError(2));
    EXPECT_TRUE(svFile::isError(3));
    EXPECT_TRUE(svFile::isError(6));
    EXPECT_FALSE(svFile::isError(7));
}

TEST(ResultCodes, FileAccessFromErrno) {
    EXPECT_EQ(getFileAccessFromErr(2), 4);
    EXPECT_EQ(getFileAccessFromErr(13), 3);
    EXPECT_EQ(getFileAccessFromErr(20), 4);
    EXPECT_EQ(getFileAccessFromErr(21), 6);
    EXPECT_EQ(getFileAccessFromErr(0), 6);
    EXPECT_EQ(getFileAccessFromErr(1), 6);
    EXPECT_EQ(getFileAccessFromErr(5), 6);
}

TEST(ResultCodes, StreamAccessFromErrnoForDirectoryAndFileStreams) {
    svStdContainerDirIoStream stdDir;
    svCatContainerDirIoStream catDir;
    struct Row { int err; int code; } const dirRows[] = {
        {0, 1}, {1, 1}, {2, 9}, {3, 1}, {13, 8}, {20, 1}, {23, 7}, {24, 7}, {28, 10}, {36, 5}, {37, 1}, {100, 1}};
    for (Row const& r : dirRows) {
        EXPECT_EQ(stdDir.getStreamAccessFromErr(r.err), r.code) << "errno " << r.err;
        EXPECT_EQ(catDir.getStreamAccessFromErr(r.err), r.code) << "errno " << r.err;
    }
    // The file streams have no "too long" code: 36 is an ordinary failure.
    svStdContainerFileBufferIoStream stdFile;
    svCatContainerFileBufferIoStream catFile;
    struct Row const fileRows[] = {{2, 9}, {13, 8}, {23, 7}, {24, 7}, {28, 10}, {36, 1}, {5, 1}, {0, 1}};
    for (Row const& r : fileRows) {
        EXPECT_EQ(stdFile.getStreamAccessFromErr(r.err), r.code) << "errno " << r.err;
        EXPECT_EQ(catFile.getStreamAccessFromErr(r.err), r.code) << "errno " << r.err;
    }
}

TEST(ResultCodes, MnemonicsAndStrings) {
    EXPECT_EQ(svIoStream::getStreamAccessMnenomics(0), "");
    EXPECT_EQ(svIoStream::getStreamAccessMnenomics(3), "fileCorrupt");
    EXPECT_EQ(svIoStream::getStreamAccessMnenomics(7), "tooManyfilesOpen");
    EXPECT_EQ(svIoStream::getStreamAccessMnenomics(9), "fileNotFound");
    EXPECT_EQ(svIoStream::getStreamAccessMnenomics(11), "reservedDevice");
    EXPECT_EQ(svIoStream::getStreamAccessStrings(1), "Can@'t open file");
    EXPECT_EQ(svIoStream::getStreamAccessStrings(2), "Can@'t read file");
    EXPECT_EQ(svIoStream::getStreamAccessStrings(8), "Cannot open file: permission denied");
    EXPECT_EQ(svIoStream::getStreamAccessStrings(10), "Not enough space on disk");
    EXPECT_EQ(svIoStream::getStreamAccessStrings(11), "Reserved Unix device");
}

TEST(ByteOrder, FourByteCopyFlipsOnlyForTheOtherOrder) {
    svCatContainerDirIoStream stream;
    unsigned char const bytes[4] = {0x00, 0x00, 0x01, 0x02};
    std::uint32_t value = 0;
    EXPECT_EQ(stream.getEndianness(), stream.getComputerEndianness());
    EXPECT_EQ(stream.getComputerEndianness(), 1);
    stream.setEndianness(0);
    stream.memcpyFourBytes(&value, bytes);
    EXPECT_EQ(value, 0x0102u);
    stream.setEndianness(1);
    stream.memcpyFourBytes(&value, bytes);
    EXPECT_EQ(value, 0x02010000u);
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
}

TEST(Names, TwoArgumentSetNameTakesExactlyLenBytes) {
    svStdContainerFile f;
    f.setName("abcdef", 3);
    EXPECT_STREQ(f.getName(), "abc");
    f.setName("x");
    EXPECT_STREQ(f.getName(), "x");
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

TEST(Ownership, ChainIsReleasedOnceFromEitherEnd) {
    svContainerFile* leaf = nullptr;
    gDestroyed = 0;
    chain(&leaf);
    delete leaf;
    EXPECT_EQ(gDestroyed, 4);

    gDestroyed = 0;
    svContainer* child = chain(&leaf);
    delete child;
    EXPECT_EQ(gDestroyed, 4);
}

TEST(Ownership, OwnedSettersReplaceAndResetsOnlyClear) {
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
    static std::string call(int outCount, vxArray_tag* input) {
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

    std::unique_ptr<vxArray_tag, void (*)(vxArray_tag*)> on(vxCreateString("ON"), vxDestroyArray);
    EXPECT_EQ(call(1, on.get()), "off");  // the name from before the change
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

    std::unique_ptr<vxArray_tag, void (*)(vxArray_tag*)> off(vxCreateString("Off"), vxDestroyArray);
    EXPECT_EQ(call(0, off.get()), "");
    EXPECT_FALSE(svIsContainerFeatureOn());
    EXPECT_EQ(pxGetDefaultIOFcns().isReadableFile, &svPlainIsReadableFile);
}

TEST_F(ContainerFeatureSwitch, RejectsOtherTextAndOtherClasses) {
    std::unique_ptr<vxArray_tag, void (*)(vxArray_tag*)> spaced(vxCreateString("On "), vxDestroyArray);
    try {
        call(0, spaced.get());
        ADD_FAILURE() << "\"On \" was accepted";
    } catch (vx::Error const& e) {
        EXPECT_EQ(e.identifier(), "CALYX:legacy_two_part:wrongContainerFeatureValue");
    }
    std::unique_ptr<vxArray_tag, void (*)(vxArray_tag*)> number(vxCreateDoubleScalar(1), vxDestroyArray);
    try {
        call(0, number.get());
        ADD_FAILURE() << "a number was accepted";
    } catch (vx::Error const& e) {
        EXPECT_EQ(e.identifier(), "CALYX:legacy_two_part:wrongContainerFeatureInput");
    }
    EXPECT_FALSE(svIsContainerFeatureOn());
}
