// SPDX-License-Identifier: Apache-2.0
#include "LoadedPlugin.hpp"

#include <fmt/format.h>

#include <QFile>
#include <array>
#include <cstdio>
#include <memory>

namespace corvane::test {
namespace {

constexpr char Entry[] = "CORV_API_2026_SEP_07__CorvanePrivateFieldEditors";

class Plugin : public LoadedPlugin {};

std::string outputOf(const std::string& command) {
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string output;
    std::array<char, 256> part;
    while (pipe && fgets(part.data(), part.size(), pipe.get())) output += part.data();
    return output;
}

TEST_F(Plugin, exportsOneSymbol) {
    const std::string symbols = outputOf("nm -D --defined-only " CORVANE_PLUGIN);
    EXPECT_EQ(std::count(symbols.begin(), symbols.end(), '\n'), 1) << symbols;
    EXPECT_NE(symbols.find(std::string(" T ") + Entry), std::string::npos) << symbols;
}

TEST_F(Plugin, announcesItselfAndIsReallyGoneAfterwards) {
    const auto made = heard.find("VCreator::VCreator(Edit/ModifyClassification,-1000)\n");
    const auto loaded = heard.find("0 CorvanePrivateFieldEditors CORV_API_VERSION\n");
    ASSERT_NE(made, std::string::npos) << heard;
    EXPECT_LT(made, loaded);
    EXPECT_EQ(heard.find("WARNING"), std::string::npos) << heard;
    EXPECT_TRUE(isLoaded());
    heard.clear();
    unload();
    EXPECT_FALSE(isLoaded());
    EXPECT_EQ(heard, "1 CorvanePrivateFieldEditors CORV_API_VERSION\n");
}

TEST_F(Plugin, asksTheShellWhetherItFits) {
    struct Shell : VInitialization {
        bool IsCompatible(const char* version) const override {
            asked = version;
            return answer;
        }
        mutable std::string asked;
        bool answer = false;
    } shell;
    const auto fits = reinterpret_cast<bool (*)(VInitialization*)>(symbol(Entry));
    ASSERT_TRUE(fits);
    EXPECT_FALSE(fits(&shell));
    shell.answer = true;
    EXPECT_TRUE(fits(&shell));
    EXPECT_EQ(shell.asked, "CORV_API_VERSION");
    for (const char* other : {"", "CORV_API_VERSIO", "CORV_API_VERSION2"})
        EXPECT_FALSE(VInitialization().IsCompatible(other)) << other;
}

TEST_F(Plugin, bringsItsIconsAndTakesThemBack) {
    const auto sizes = [] {
        std::string found;
        for (const char* name : {"undo-data", "redo-data", "undo-mask", "redo-mask", "clear-mask", "purge-cache"})
            if (QFile file(QString(":/corvane/%1.png").arg(name)); file.open(QIODevice::ReadOnly)) {
                const QByteArray start = file.read(24); // signature, then length, name, width and height
                if (start.startsWith("\x89PNG\r\n\x1a\n")) found += start.mid(16).toHex().toStdString() + ' ';
            }
        return found;
    };
    const std::string square = "0000010000000100 "; // 256 by 256
    EXPECT_EQ(sizes(), square + square + square + square + square + square);
    unload();
    EXPECT_EQ(sizes(), "");
}

TEST_F(Plugin, itsObjectsAreAsIntroduced) {
    for (const auto& module : Kesh::VCreatorBase::catalogue()) {
        EXPECT_EQ(module->interfaceVersion(), "CORV_API_VERSION");
        const auto object = module->create("", nullptr);
        std::string introduced, made;
        for (const auto& parameter : module->properties().parameters())
            introduced += fmt::format("{} {} {} in '{}' {}\n", parameter.name, parameter.expertLevel,
                                      parameter.isOutput, parameter.group, (*parameter.initial).text());
        for (const auto& slot : object->allSlots())
            made +=
                fmt::format("{} {} {} in '{}' {}\n", slot->name(), slot->parameter()->introduction().expertLevel,
                            bool(object->findOutput(slot->name())),
                            slot->inputClass() ? slot->inputClass()->name() : "", slot->getValueBase(*pool)->text());
        EXPECT_EQ(made, introduced) << module->key();
    }
}

TEST_F(Plugin, createsObjectsAndTakesThemAlong) {
    heard.clear();
    Kesh::setVerbosity(100);
    auto object = creator("ModifyClassification")->create("", nullptr);
    Kesh::setVerbosity(0);
    ASSERT_TRUE(object);
    EXPECT_EQ(object->BaseName(), "ModifyClassification");
    EXPECT_EQ(heard.find("VCreator::create(ModifyClassification)\n"), 0u);
    EXPECT_TRUE(heard.ends_with("VCreator::create(ModifyClassification) got derived object\n")) << heard;
    EXPECT_EQ(heard.find("Typeslot"), std::string::npos) << heard;
    const Holdfast::WeakPtr<Kesh::VSlot> slot = object->findOutput("labelfield");
    object.reset();
    ASSERT_TRUE(slot.lock());
    unload();
    EXPECT_FALSE(slot.lock());
    EXPECT_TRUE(Kesh::VCreatorBase::catalogue().empty());
    EXPECT_FALSE(Kesh::VValueCreator::find("Kesh::Enum"));
    EXPECT_TRUE(Kesh::VValueCreator::find("Kesh::Brush")) << "the shell's own stays";
}

TEST_F(Plugin, weakPointersToItsObjectsMayOutliveIt) {
    const auto release = [this] {
        Holdfast::WeakPtr<Kesh::VObject> object = creator("ModifyClassification")->create("", nullptr);
        Holdfast::WeakPtr<Kesh::VSlot> slot = object.lock()->findSlot("assign");
        unload();
        const bool gone = !object.lock() && !slot.lock();
        object = {};
        slot = {};
        std::_Exit(gone ? 0 : 1);
    };
    EXPECT_EXIT(release(), testing::ExitedWithCode(0), "") << "in a process of its own, since it may crash";
}

TEST_F(Plugin, leavesDataAndHistoryBehind) {
    field<unsigned char>("Classification", {{1, 2, 3}});
    auto editor = creator("ModifyClassification")->create("", nullptr);
    set(pool, *editor, "labelfield", selector("Classification"));
    set(pool, *editor, "from0", 2);
    set(pool, *editor, "newvalue", 9);
    press(*editor, "assign");
    EXPECT_EQ(update(*editor), "1 vertex data have been modified.");
    editor.reset();
    unload();
    ASSERT_FALSE(isLoaded());
    EXPECT_EQ(values<unsigned char>(), (std::vector<unsigned char>{1, 9, 3}));
    Fiber::History history(vertices(), "Classification");
    ASSERT_EQ(history.size(), 1);
    EXPECT_EQ(history.step(0).module, "Edit/ModifyClassification");
    EXPECT_EQ(history.step(0).parameters,
              "labelfield=Classification undodepth=32 brush=no stroke newvalue=9 from0=2 from1=0 from2=0 from3=0 "
              "switch=none");
    EXPECT_TRUE(history.undo(find("Classification"), Ageable::nextTime()));
    EXPECT_EQ(values<unsigned char>(), (std::vector<unsigned char>{1, 2, 3}));
}

} // namespace
} // namespace corvane::test
