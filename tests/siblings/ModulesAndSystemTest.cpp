// The utility layer's module functions over the dynamic loader, the system
// descriptions, the string hash and line input.
#include <uv/modules.hpp>
#include <uv/machine_info.hpp>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

extern "C" int uvIsInterruptPending(void);

TEST(UtilityModules, FindTheModuleOfAnAddressAndItsSymbols) {
    char const* name = uvModuleNameFromAddress(reinterpret_cast<void const*>(&uvIsInterruptPending));
    ASSERT_NE(name, nullptr);
    EXPECT_NE(std::string(name).find("libcalyx_uv.so"), std::string::npos) << name;
    EXPECT_EQ(uvModuleNameFromAddress(nullptr), nullptr);

    void* library = uvLoadLibrary(name);
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(uvFindSymbolInLibrary(library, "uvIsInterruptPending"),
              reinterpret_cast<void*>(&uvIsInterruptPending));
    EXPECT_EQ(uvFindSymbolInLibrary(library, "noSuchSymbolAnywhere"), nullptr);
    EXPECT_EQ(uvUnloadLibrary(library), 0);

    EXPECT_EQ(uvLoadLibrary("/no/such/library.so"), nullptr);
    EXPECT_EQ(uvLoadLibrary(nullptr), nullptr);
    EXPECT_EQ(uvFindSymbolInLibrary(nullptr, "x"), nullptr);
    EXPECT_EQ(uvUnloadLibrary(nullptr), 0);
}

TEST(UtilityModules, AutomountPrefixIsRemovedOnlyAsAWholeComponent) {
    struct Case {
        char const* in;
        char const* out;
    } const cases[] = {
        {"/tmp_mnt/home/user", "/home/user"}, {"/tmp_mnt/", "/"},       {"/tmp_mnt", "/tmp_mnt"},
        {"/tmp_mntx/home", "/tmp_mntx/home"}, {"/home/tmp_mnt/x", "/home/tmp_mnt/x"}, {"", ""},
    };
    for (Case const& c : cases) {
        char buffer[64];
        std::strcpy(buffer, c.in);
        uvFixAutoMountPrefix(buffer);
        EXPECT_STREQ(buffer, c.out) << c.in;
    }
    uvFixAutoMountPrefix(nullptr);
}

TEST(UtilitySystem, StringHashIsFnv1aFromTheSeed) {
    // Published FNV-1a 32-bit values.
    EXPECT_EQ(uv_hash_string(0, ""), 2166136261u);
    EXPECT_EQ(uv_hash_string(0, "a"), 0xe40c292cu);
    EXPECT_EQ(uv_hash_string(0, "foobar"), 0xbf9cf968u);
    EXPECT_EQ(uv_hash_string(0, nullptr), uv_hash_string(0, ""));
    EXPECT_NE(uv_hash_string(1, "foobar"), uv_hash_string(0, "foobar"));
    EXPECT_NE(uv_hash_string(0, "/opt/calyx-a"), uv_hash_string(0, "/opt/calyx-b"));
}
