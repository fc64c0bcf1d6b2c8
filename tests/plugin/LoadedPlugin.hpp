// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "../host/Bench.hpp"
#include "Kesh/catalogue/VCreator.hpp"
#include "Kesh/objects/Vprintf.hpp"
#include "VInitialization.hpp"

#include <dlfcn.h>

namespace corvane::test {

inline StrongPtr<Kesh::VCreatorBase> creator(const std::string& name) {
    for (const auto& listed : Kesh::VCreatorBase::catalogue())
        if (listed->name() == name) return listed;
    throw std::logic_error("The catalogue has no " + name);
}

/// A shell that has loaded the plug-in, and writes down what it hears.
class LoadedPlugin : public Bench {
protected:
    LoadedPlugin() {
        VInitialization::setObserver([this](int reason, const std::string& name, const std::string& version) {
            heard += std::to_string(reason) + " " + name + " " + version + "\n";
        });
        Kesh::setVprintfSink([this](const std::string& text) { heard += text; });
        Kesh::setVerbosity(100);
        library_ = dlopen(CORVANE_PLUGIN, RTLD_NOW | RTLD_LOCAL);
        if (!library_) throw std::runtime_error(dlerror());
        Kesh::setVerbosity(0);
    }

    ~LoadedPlugin() override {
        pool.reset(); // with the values that the modules made
        unload();
        VInitialization::setObserver(nullptr);
        Kesh::setVprintfSink([](const std::string&) {});
    }

    void unload() {
        if (library_) dlclose(std::exchange(library_, nullptr));
    }
    static bool isLoaded() {
        void* library = dlopen(CORVANE_PLUGIN, RTLD_NOW | RTLD_NOLOAD);
        if (library) dlclose(library); // it was counted once more
        return library != nullptr;
    }
    void* symbol(const char* name) const { return dlsym(library_, name); }

    std::string heard;

private:
    void* library_ = nullptr;
};

} // namespace corvane::test
