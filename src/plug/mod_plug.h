// The plug-in registry: loads shared libraries on request and lists the plug-ins they offer.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "plug/plugin.h"
#include "system/module.h"

namespace QZ {
namespace PLUG {

// Told of every plug-in loaded after it was added.
class Plugin_listener {
public:
    virtual ~Plugin_listener() = default;
    virtual void plugin_loaded(const char* library_path, const char* type, const char* name) = 0;
};

class Mod_plug : public SYSTEM::Module {
public:
    Mod_plug() : Module(SYSTEM::MODULE_PLUG, "PLUG") {}
    ~Mod_plug() override = default;

    // True if the library opened and has an "initializer", also when it offers no plug-in.
    virtual bool load_library(const char* path) = 0;
    virtual void unload_library(const char* path) = 0;
    virtual uint32_t get_plugin_count() = 0;
    // The plug-in with its count raised, or null; give it back with release_plugin.
    virtual Plugin* get_plugin(uint32_t index) = 0;
    // The first plug-in whose get_name equals name, its count raised, or null.
    virtual Plugin* find_plugin(const char* name) = 0;
    virtual void release_plugin(Plugin* plugin) = 0;
    virtual void add_listener(Plugin_listener* listener) = 0;
};

// A reference-counted record; the count is atomic because a plug-in handed out may be released
// on another thread.
class Counted {
public:
    void retain() { count_.fetch_add(1, std::memory_order_relaxed); }
    // Lowers the count and destroys the object at zero; returns true if it did.
    bool release()
    {
        if (count_.fetch_sub(1, std::memory_order_acq_rel) != 1)
            return false;
        delete this;
        return true;
    }
    int32_t count() const { return count_.load(std::memory_order_relaxed); }

protected:
    virtual ~Counted() = default;

private:
    std::atomic<int32_t> count_{1};
};

class Loaded_plugin;

class Loaded_library : public Counted {
public:
    Loaded_library(const std::string& library_path, void* library_handle)
        : path(library_path), handle(library_handle) {}

    std::string path;
    void* handle;
    std::vector<Loaded_plugin*> plugins;

protected:
    ~Loaded_library() override;
};

class Loaded_plugin : public Counted {
public:
    Loaded_plugin(Plugin* loaded, Loaded_library* owner) : plugin(loaded), library(owner) { library->retain(); }

    Plugin* plugin;
    Loaded_library* library;

protected:
    ~Loaded_plugin() override;
};

class Mod_plug_impl : public Mod_plug {
public:
    Mod_plug_impl() = default;
    ~Mod_plug_impl() override;

    bool load_library(const char* path) override;
    void unload_library(const char* path) override;
    uint32_t get_plugin_count() override;
    Plugin* get_plugin(uint32_t index) override;
    Plugin* find_plugin(const char* name) override;
    void release_plugin(Plugin* plugin) override;
    void add_listener(Plugin_listener* listener) override;

    size_t library_count();

private:
    // Lowers a record's count; at zero it leaves the plug-in list.
    void drop(Loaded_plugin* record);

    std::recursive_mutex lock_;
    std::vector<Loaded_library*> libraries_;
    std::vector<Loaded_plugin*> plugins_;
    Plugin_context context_;
    std::vector<Plugin_listener*> listeners_;
};

extern Mod_plug* mod_plug;

void start();
void stop();

}  // namespace PLUG
}  // namespace QZ
