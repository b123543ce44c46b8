#include "plug/mod_plug.h"

#include <algorithm>
#include <cstring>

#include "log/mod_log.h"
#include "system/growth.h"
#include "system/mod_hal.h"

namespace QZ {
namespace PLUG {

Mod_plug* mod_plug = nullptr;

Loaded_library::~Loaded_library() { SYSTEM::mod_hal->close_library(handle); }

Loaded_plugin::~Loaded_plugin()
{
    // The plug-in's code lives in the library: release it before the library may close.
    if (plugin)
        plugin->release();
    library->release();
}

Mod_plug_impl::~Mod_plug_impl()
{
    std::lock_guard<std::recursive_mutex> guard(lock_);
    for (Loaded_library* library : libraries_)
        library->plugins.clear();
    // Every record goes, whatever count a caller still holds: the registry ends here.
    std::vector<Loaded_plugin*> records;
    records.swap(plugins_);
    for (Loaded_plugin* record : records)
        while (!record->release()) {
        }
    std::vector<Loaded_library*> libraries;
    libraries.swap(libraries_);
    for (Loaded_library* library : libraries)
        library->release();
}

bool Mod_plug_impl::load_library(const char* path)
{
    std::lock_guard<std::recursive_mutex> guard(lock_);
    void* handle = SYSTEM::mod_hal->open_library(path);
    if (!handle)
        return false;
    auto initializer = reinterpret_cast<Initializer_function>(SYSTEM::mod_hal->find_symbol(handle, "initializer"));
    if (!initializer) {
        LOG::mod_log->info(SYSTEM::MODULE_PLUG, LOG::CAT_PLUG, "%s: symbol \"initializer\" not found", path);
        SYSTEM::mod_hal->close_library(handle);
        return false;
    }
    auto* library = new Loaded_library(path, handle);
    SYSTEM::reserve_for_one_more(libraries_);
    libraries_.push_back(library);
    for (uint32_t index = 0;; ++index) {
        Plugin* plugin = initializer(index, &context_);
        if (!plugin)
            break;
        auto* record = new Loaded_plugin(plugin, library);
        SYSTEM::reserve_for_one_more(plugins_);
        plugins_.push_back(record);
        SYSTEM::reserve_for_one_more(library->plugins);
        library->plugins.push_back(record);
        const char* type = plugin->get_type();
        const char* name = plugin->get_name();
        LOG::mod_log->info(SYSTEM::MODULE_PLUG, LOG::CAT_PLUG, "library \"%s\": loaded %s plugin \"%s\"", path,
                           type ? type : "", name ? name : "");
        for (Plugin_listener* listener : listeners_)
            listener->plugin_loaded(path, type, name);
    }
    return true;
}

void Mod_plug_impl::drop(Loaded_plugin* record)
{
    if (record->count() == 1)
        plugins_.erase(std::find(plugins_.begin(), plugins_.end(), record));
    record->release();
}

void Mod_plug_impl::unload_library(const char* path)
{
    if (!path)
        return;
    std::lock_guard<std::recursive_mutex> guard(lock_);
    auto it = std::find_if(libraries_.begin(), libraries_.end(),
                           [path](const Loaded_library* library) { return library->path == path; });
    if (it == libraries_.end())
        return;
    Loaded_library* library = *it;
    libraries_.erase(it);
    std::vector<Loaded_plugin*> records;
    records.swap(library->plugins);
    for (Loaded_plugin* record : records)
        drop(record);
    library->release();
}

uint32_t Mod_plug_impl::get_plugin_count()
{
    std::lock_guard<std::recursive_mutex> guard(lock_);
    return static_cast<uint32_t>(plugins_.size());
}

Plugin* Mod_plug_impl::get_plugin(uint32_t index)
{
    std::lock_guard<std::recursive_mutex> guard(lock_);
    if (index >= plugins_.size())
        return nullptr;
    plugins_[index]->retain();
    return plugins_[index]->plugin;
}

Plugin* Mod_plug_impl::find_plugin(const char* name)
{
    if (!name)
        return nullptr;
    std::lock_guard<std::recursive_mutex> guard(lock_);
    for (Loaded_plugin* record : plugins_) {
        const char* plugin_name = record->plugin->get_name();
        if (plugin_name && std::strcmp(plugin_name, name) == 0) {
            record->retain();
            return record->plugin;
        }
    }
    return nullptr;
}

void Mod_plug_impl::release_plugin(Plugin* plugin)
{
    if (!plugin)
        return;
    std::lock_guard<std::recursive_mutex> guard(lock_);
    for (Loaded_plugin* record : plugins_) {
        if (record->plugin == plugin) {
            drop(record);
            return;
        }
    }
}

void Mod_plug_impl::add_listener(Plugin_listener* listener)
{
    if (!listener)
        return;
    std::lock_guard<std::recursive_mutex> guard(lock_);
    SYSTEM::reserve_for_one_more(listeners_);
    listeners_.push_back(listener);
}

size_t Mod_plug_impl::library_count()
{
    std::lock_guard<std::recursive_mutex> guard(lock_);
    return libraries_.size();
}

void start()
{
    if (!mod_plug)
        mod_plug = new Mod_plug_impl;
    mod_plug->state = SYSTEM::MODULE_RUNNING;
}

void stop()
{
    delete mod_plug;
    mod_plug = nullptr;
}

}  // namespace PLUG
}  // namespace QZ
