// `cuadrante env` and `cuadrante config`: the environment document and the
// configuration INI file, and where the user's configuration folder is.
#pragma once

#include <string>

#include "tools/cuadrante/arguments.h"

namespace cuadrante::tool {

int RunEnv(const Args& args);
void HelpEnv();
int RunConfig(const Args& args);
void HelpConfig();

// The library replaces an environment document that does not parse; a person
// who named a broken or foreign file is told instead, and the file is kept.
// A missing file is fine: the library creates it.
void CheckEnvironmentDocument(const std::string& path);
// The environment document that --env named, or "" when it was not given.
const std::string& EnvironmentOption();
void SetEnvironmentOption(const std::string& path);
// `name` in the user's configuration folder: $XDG_CONFIG_HOME/cuadrante, or
// ~/.config/cuadrante. Nothing is created.
std::string ConfigPath(const std::string& name);

}  // namespace cuadrante::tool
