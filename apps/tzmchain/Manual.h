#pragma once

#include <string>

namespace CLI {
class App;
}

namespace tzmchain {

/// The manual page of a command line, for man(7).
std::string ManualPage(const CLI::App& app);

/// A script that completes its commands, options and words: of "bash" or "zsh".
std::string Completion(const CLI::App& app, const std::string& shell);

} // namespace tzmchain
