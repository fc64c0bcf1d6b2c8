// SPDX-License-Identifier: Apache-2.0
#include "../support/Files.hpp"
#include "../support/Messages.hpp"
#include "Kesh/catalogue/VCreator.hpp"
#include "base/Failure.hpp"
#include "plugin/Plugin.hpp"

#include <dlfcn.h>
#include <gtest/gtest.h>

namespace corvane::test {
namespace {

TEST(PluginFile, isFoundByThePlaceOfTheHost) { EXPECT_TRUE(std::filesystem::equivalent(findPlugin(), CORVANE_PLUGIN)); }

TEST(PluginFile, isClosedWhenItsEntryThrows) {
    const std::string said = messageOf<Failure>([] { Plugin faulty(CORVANE_FAULTY_PLUGIN); });
    EXPECT_TRUE(holds(said, CORVANE_FAULTY_PLUGIN) && holds(said, "out of ink")) << said;
    EXPECT_EQ(dlopen(CORVANE_FAULTY_PLUGIN, RTLD_NOW | RTLD_NOLOAD), nullptr) << "still loaded";
}

TEST(PluginFile, isLoadedFromOnePlaceOnly) {
    const Folder folder;
    const std::string copy = folder / std::filesystem::path(CORVANE_PLUGIN).filename();
    std::filesystem::copy_file(CORVANE_PLUGIN, copy);
    {
        const Plugin first(CORVANE_PLUGIN), again(CORVANE_PLUGIN);
        const std::size_t modules = Kesh::VCreatorBase::catalogue().size();
        const std::string said = messageOf<Failure>([&] { Plugin second(copy); });
        EXPECT_TRUE(holds(said, CORVANE_PLUGIN) && holds(said, copy)) << said;
        EXPECT_EQ(Kesh::VCreatorBase::catalogue().size(), modules);
    }
    EXPECT_TRUE(Kesh::VCreatorBase::catalogue().empty());
    const Plugin other(copy);
    EXPECT_FALSE(Kesh::VCreatorBase::catalogue().empty()) << "the first is gone";
}

} // namespace
} // namespace corvane::test
