#pragma once

#include <CLI/CLI.hpp>

/// Formats --help: wrapped at 80 columns, a command's own options first, the common options last.
class HelpFormatter final : public CLI::Formatter
{
public:
    HelpFormatter();

    std::string make_help(const CLI::App *app, std::string name, CLI::AppFormatMode mode) const override;
    std::string make_option(const CLI::Option *option, bool isPositional) const override;
    std::string make_subcommand(const CLI::App *command) const override;
};
