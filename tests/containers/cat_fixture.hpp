// Test support: CAT files assembled byte by byte from the layout (so that the
// reader is checked against the format, not against our own writer), a
// scratch directory removed at the end of each test, and readers of packed
// name lists and of files through the container model.
#pragma once
#include "support/error_id.hpp"
#include <qzservices/containers/ContainerFeature.hpp>
#include <qzservices/containers/CxfileReader.hpp>
#include <qzservices/containers/path_manager_fcns.hpp>
#include <qzservices/containers/svCatContainer.hpp>
#include <qzservices/containers/svStdContainer.hpp>

#include <px/px.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace cattest {

struct UvFree {
    void operator()(void* p) const { uvFree(p); }
};
using Owned = std::unique_ptr<char, UvFree>;

using qztest::errorIdOf;

// The names of a packed list ("a\0b\0\0"), in order.
inline std::vector<std::string> unpack(char const* list) {
    std::vector<std::string> names;
    for (char const* p = list; p != nullptr && *p; p += std::strlen(p) + 1) names.emplace_back(p);
    return names;
}

// The listing of a directory through the container model, or {"<error>"}.
inline std::vector<std::string> listing(std::string const& dirPath) {
    std::unique_ptr<svContainer> c(svContainer::svFindContainer(dirPath.c_str()));
    if (c->hasErrorOnContainer() || !c->getDirStream()->open()) return {"<error>"};
    Owned list(c->getDirStream()->getDirList());
    c->getDirStream()->close();
    return unpack(list.get());
}

// What a reader gives for a path: the bytes (checked to end in a zero), or
// "<code N>" with the error it set. Buffers read into a context are the context's.
inline std::string readWith(CxfileReader& reader, std::string const& path, _memory_context* context = nullptr) {
    unsigned long size = 99;
    ioErrorMessage error = -1;
    char* bytes = static_cast<char*>(reader.read(&size, context, path.c_str(), &error));
    Owned owned(context == nullptr ? bytes : nullptr);
    if (bytes == nullptr || error != 0) return "<code " + std::to_string(error) + ">";
    EXPECT_EQ(bytes[size], '\0');
    return std::string(bytes, size);
}

// The bytes of a file read through the container model, or "<code N>".
inline std::string readThrough(std::string const& filePath) {
    ContainerCxfileReader reader;
    return readWith(reader, filePath);
}

struct Node {
    std::string name;
    bool isDir;
    std::string content;          // a file's bytes
    std::vector<Node> children;   // a directory's entries
    char typeByte;                // 'F' for a file; any other byte is a directory
};

inline Node file(std::string name, std::string content) { return Node{std::move(name), false, std::move(content), {}, 'F'}; }
inline Node dir(std::string name, std::vector<Node> children, char typeByte = 'D') {
    return Node{std::move(name), true, std::string(), std::move(children), typeByte};
}

inline std::string u32(std::uint32_t v, bool bigEndian) {
    std::string out(4, '\0');
    for (int i = 0; i < 4; ++i) {
        int const shift = bigEndian ? 8 * (3 - i) : 8 * i;
        out[static_cast<size_t>(i)] = static_cast<char>((v >> shift) & 0xff);
    }
    return out;
}

// One directory block: header length, entry count, entries, then contents.
inline std::string block(std::vector<Node> const& entries, bool bigEndian, std::uint32_t countField = 0xffffffff) {
    std::string header, contents;
    for (Node const& n : entries) {
        std::string const body = n.isDir ? block(n.children, bigEndian) : n.content;
        header += n.typeByte;
        header += u32(static_cast<std::uint32_t>(n.name.size()), bigEndian);
        header += n.name;
        header += u32(static_cast<std::uint32_t>(body.size()), bigEndian);
        contents += body;
    }
    std::uint32_t const count = countField == 0xffffffff ? static_cast<std::uint32_t>(entries.size()) : countField;
    return u32(static_cast<std::uint32_t>(header.size() + 8), bigEndian) + u32(count, bigEndian) + header + contents;
}

inline std::string catFile(std::vector<Node> const& root, bool bigEndian) {
    return std::string(bigEndian ? "CATF" : "FTAC") + block(root, bigEndian);
}

// A fresh directory under /tmp, removed with everything in it afterwards.
class ScratchDir : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/qzcontainersXXXXXX";
        char* made = mkdtemp(pattern);
        ASSERT_NE(made, nullptr);
        root = made;
    }
    void TearDown() override {
        std::string const command = "chmod -R u+rwx '" + root + "' 2>/dev/null; rm -rf '" + root + "'";
        if (std::system(command.c_str()) != 0) ADD_FAILURE() << "could not remove " << root;
    }
    std::string path(std::string const& relative) const { return root + "/" + relative; }
    void write(std::string const& relative, std::string const& bytes) const {
        std::ofstream out(path(relative), std::ios::binary);
        out << bytes;
        ASSERT_TRUE(out.good()) << relative;
    }
    void makeDir(std::string const& relative) const { ASSERT_EQ(::mkdir(path(relative).c_str(), 0755), 0) << relative; }

    std::string root;
};

} // namespace cattest
