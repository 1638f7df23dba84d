#include "Manual.h"

#include <CLI/CLI.hpp>

namespace tzmchain {

namespace {

/// Text for roff: hyphens are minus signs, and no line begins with a request.
std::string Roff(const std::string& text) {
    std::string safe;
    for (const char c : text) {
        if (c == '-' || c == '\\') safe += '\\';
        safe += c == '\\' ? 'e' : c;
    }
    return safe.empty() || (safe[0] != '.' && safe[0] != '\'') ? safe : "\\&" + safe;
}

/// "--out TEXT", as the help has it.
std::string Synopsis(const CLI::Option& option) {
    std::string name = option.get_positional() ? option.get_name(true) : option.get_name(false, true);
    for (char& c : name)
        if (c == ',') c = ' ';
    const bool takesValue = option.get_items_expected_max() > 0 && !option.get_positional();
    return name + (takesValue ? " " + option.get_type_name() : "");
}

void Options(const CLI::App& app, std::string& page) {
    for (const CLI::Option* option : app.get_options())
        page += ".TP\n.B " + Roff(Synopsis(*option)) + "\n" + Roff(option->get_description()) + "\n";
}

/// Words that an option's description lists behind a colon: "Form of the pictures: png, svg, pdf".
std::string WordsOf(const CLI::Option& option) {
    if (option.get_type_name() != "WORD") return "";
    const std::string& text = option.get_description();
    std::string words;
    for (const char c : text.substr(text.rfind(':') + 1))
        if (c != ',') words += c;
    return words;
}

} // namespace

std::string ManualPage(const CLI::App& app) {
    std::string page = ".TH TZMCHAIN 1\n.SH NAME\ntzmchain \\- " + Roff(app.get_description()) +
                       "\n.SH SYNOPSIS\n.B tzmchain\n.I COMMAND\n[\\fIOPTION\\fR ...]\n.SH DESCRIPTION\n" +
                       "Runs chains of algorithms on recordings and writes images, pictures, a recipe and a report.\n";
    for (const CLI::App* command : app.get_subcommands({})) {
        page += ".SH " + Roff("tzmchain " + command->get_name()) + "\n" + Roff(command->get_description()) + ".\n";
        Options(*command, page);
    }
    return page + ".SH OPTIONS\n" +
           [&] {
               std::string own;
               Options(app, own);
               return own;
           }() +
           ".SH EXIT STATUS\n0: done; diff: the images agree. 2: what was given can't be used. 1: an error of the "
           "program itself; diff: "
           "the images differ. 130, 143: ended by a signal.\n";
}

std::string Completion(const CLI::App& app, const std::string& shell) {
    std::string commands, cases, words;
    for (const CLI::App* command : app.get_subcommands({})) {
        commands += command->get_name() + " ";
        std::string options;
        for (const CLI::Option* option : command->get_options()) {
            if (option->get_positional()) continue;
            for (const std::string& name : option->get_lnames()) {
                options += "--" + name + " ";
                if (const std::string known = WordsOf(*option); !known.empty())
                    words +=
                        "        --" + name + ") COMPREPLY=($(compgen -W \"" + known + "\" -- \"$word\")); return;;\n";
            }
        }
        cases += "        " + command->get_name() + ") options=\"" + options + "\";;\n";
    }
    const std::string head = shell == "zsh" ? "#compdef tzmchain\nautoload -U +X bashcompinit && bashcompinit\n" : "";
    return head +
           "# Completes the command line of tzmchain.\n_tzmchain() {\n    local word=${COMP_WORDS[COMP_CWORD]} "
           "options\n" +
           "    COMPREPLY=()\n    case ${COMP_WORDS[COMP_CWORD-1]} in\n" + words + "    esac\n" +
           "    if [ \"$COMP_CWORD\" -eq 1 ]; then\n        COMPREPLY=($(compgen -W \"" + commands +
           "\" -- \"$word\"))\n        return\n    fi\n    case ${COMP_WORDS[1]} in\n" + cases + "    esac\n" +
           "    case $word in\n        -*) COMPREPLY=($(compgen -W \"$options\" -- \"$word\"));;\n"
           "        *) COMPREPLY=($(compgen -f -- \"$word\"));;\n    esac\n}\n" +
           "complete -o filenames -F _tzmchain tzmchain\n";
}

} // namespace tzmchain
