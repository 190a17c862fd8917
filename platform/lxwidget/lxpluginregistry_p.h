#pragma once

class LxPluginBaseObject;

/// The existing plug-in objects, which register themselves. Any thread.
namespace LxPluginRegistry {
void enter(LxPluginBaseObject *plugin);
void leave(LxPluginBaseObject *plugin);
} // namespace LxPluginRegistry
