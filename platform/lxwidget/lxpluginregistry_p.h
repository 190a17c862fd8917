#pragma once

class LxPluginBaseObject;

/// Which plug-in objects are alive; they enter and leave by themselves.
namespace LxPluginRegistry {
void enter(LxPluginBaseObject *plugin);
void leave(LxPluginBaseObject *plugin);
} // namespace LxPluginRegistry
