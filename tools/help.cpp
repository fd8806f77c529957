#include "help.h"

#include "operations.h"
#include "text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iomanip>
#include <iterator>
#include <ostream>
#include <sstream>

namespace tool {

namespace {

std::string placeholder(const Parameter &p) {
    switch (p.kind) {
    case Kind::integer:
        return "=INTEGER";
    case Kind::number:
        return "=NUMBER";
    case Kind::text:
        return "=TEXT";
    case Kind::picture:
        return "=FILE";
    case Kind::flag:
    case Kind::described:
        return "";
    case Kind::choice:
        break;
    }
    std::string names;
    for (const auto &[name, code] : p.choices) names.append(names.empty() ? "=" : "|").append(name);
    return names;
}

std::string explained(const Parameter &p) {
    std::string help(p.help);
    if (!p.fallback) return help + " (needed)";
    if (!p.fallback->empty() && p.kind != Kind::flag)
        help.append(" (").append(*p.fallback).append(")");
    return help;
}

const Alias *findAlias(const std::string &name) {
    for (const Alias &alias : aliases())
        if (alias.name == name) return &alias;
    return nullptr;
}

// The example as a command, under the name that was asked for.
std::string exampleOf(const Operation &operation, const Alias *alias = nullptr) {
    std::string words(operation.example);
    const std::size_t other = words.find("OTHER");
    if (other != std::string::npos) words.replace(other, 5, "other.png");
    const bool complete = alias && alias->words.find(':') != std::string_view::npos;
    if (complete) words = alias->name;
    if (alias && !complete && words.rfind(operation.name, 0) == 0)
        words.replace(0, operation.name.size(), alias->name);
    const bool printing = (operation.traits & prints) && words.find("draw") == std::string::npos;
    return "zyl photo.jpg " + words + (printing ? "" : " out.png");
}

// Those that an alias gives are left out.
void writeParameters(std::ostream &out, const Operation &operation, const Alias *alias) {
    for (const Parameter &p : operation.allParameters()) {
        std::string name(p.name);
        if (alias && alias->words.find(name + "=") != std::string_view::npos) continue;
        name += placeholder(p);
        out << "  " << std::left << std::setw(24) << name << ' ' << explained(p) << '\n';
    }
}

template <class Function>
void forEachOperation(Function function) {
    for (const Family &family : operationFamilies())
        for (const Operation &operation : family.operations) function(operation);
}

// Letters that mean something to troff.
std::string escaped(std::string_view text) {
    std::string line;
    for (const char c : text) {
        if (c == '\\') {
            line += "\\e";
        } else if (c == '-') {
            line += "\\-";
        } else if (c == '\'' && line.empty()) {
            line += "\\&'";
        } else {
            line += c;
        }
    }
    return line;
}

// The options with their names and help.
struct Option {
    std::string name, help;
};

std::vector<Option> optionsOf(const CLI::App &app) {
    std::vector<Option> options;
    for (const CLI::Option *option : app.get_options()) {
        if (!option->get_lnames().empty() && !option->get_group().empty())
            options.push_back({"--" + option->get_lnames().front(), option->get_description()});
    }
    return options;
}

std::string joined(const std::vector<std::string> &words) {
    std::string all;
    for (const std::string &word : words) all.append(all.empty() ? "" : " ").append(word);
    return all;
}

// A first word that is no picture.
struct Command {
    std::string_view name, words, help, example;
};

const Command COMMANDS[] = {
    {"list", "", "all operations", ""},
    {"help", "OPERATION", "its parameters, and an example", " resize"},
    {"info", "FILE", "format, size and depth of a picture", " photo.jpg --json"},
    {"chart", "OUTPUT", "draws a test chart", " chart.png"},
    {"batch", "FILE... OPERATION... --to 'out/{name}.png'", "does the same to many pictures",
     " '*.jpg' thumbnail:size=256 --to 'small-{name}.png'"},
    {"sheet", "OUTPUT FILE...", "draws a contact sheet of the files",
     " sheet.png photo.jpg other.png"},
    {"selftest", "", "holds this machine's results against those kept", ""},
};

const Command *findCommand(std::string_view name) {
    const auto *found = std::find_if(std::begin(COMMANDS), std::end(COMMANDS),
                                     [&](const Command &each) { return each.name == name; });
    return found == std::end(COMMANDS) ? nullptr : found;
}

// Parameters as they are typed, and the values of choices.
std::vector<std::string> typed(const Operation &operation) {
    std::vector<std::string> words;
    for (const Parameter &p : operation.allParameters()) {
        const std::string name(p.name);
        if (p.kind == Kind::flag) words.push_back(name);
        if (p.kind != Kind::flag && p.choices.empty()) words.push_back(name + "=");
        for (const auto &[value, code] : p.choices)
            words.push_back(name + "=" + std::string(value));
    }
    return words;
}

// Names, with those that parameters follow, and a case for the parameters of each.
void writeCases(std::ostream &out, const std::string &indent) {
    const auto one = [&](std::string_view name, const Operation &operation) {
        out << indent << name << ") parameters='" << joined(typed(operation)) << "' ;;\n";
    };
    forEachOperation([&](const Operation &operation) { one(operation.name, operation); });
    for (const Alias &alias : aliases())
        one(alias.name, findOperation(alias.words.substr(0, alias.words.find(':'))));
}

std::string allWords(const CLI::App &options) {
    std::vector<std::string> words;
    for (const Command &command : COMMANDS) words.emplace_back(command.name);
    forEachOperation([&](const Operation &operation) { words.emplace_back(operation.name); });
    for (const Alias &alias : aliases()) words.emplace_back(alias.name);
    for (const Option &option : optionsOf(options)) words.push_back(option.name);
    return joined(words);
}

} // namespace

bool isCommand(const std::string &word) {
    return findCommand(word) != nullptr;
}

std::string usageOfCommands() {
    constexpr std::size_t column = 27; // where the help begins
    std::string text;
    for (const Command &command : COMMANDS) {
        std::string line = "  zyl " + std::string(command.name) + ' ' + std::string(command.words);
        if (line.size() >= column) {
            text += line + '\n';
            line.clear();
        }
        line.resize(column, ' ');
        text += line + std::string(command.help) + '\n';
    }
    return text;
}

void writeList(std::ostream &out) {
    const auto line = [&](std::string_view name, std::string_view help) {
        out << "  " << std::left << std::setw(20) << name << help << '\n';
    };
    for (const Family &family : operationFamilies()) {
        out << family.title << '\n';
        for (const Operation &operation : family.operations) line(operation.name, operation.help);
        out << '\n';
    }
    out << "Other names\n";
    for (const Alias &alias : aliases())
        line(alias.name, std::string(alias.help) + " (" + std::string(alias.words) + ")");
    out << "\nzyl help OPERATION tells its parameters.\n";
}

void writeHelp(std::ostream &out, const std::string &name) {
    if (const Command *command = findCommand(name)) {
        out << name << ": " << command->help << "\n  zyl " << name << ' ' << command->words
            << "\nExample:\n  zyl " << name << command->example << '\n';
        return;
    }
    const Alias *alias = findAlias(name);
    const Operation &operation =
        findOperation(alias ? alias->words.substr(0, alias->words.find(':')) : name);
    if (alias) {
        out << alias->name << ": " << alias->help << ", short for " << alias->words << '\n';
    } else {
        out << operation.name << ": " << operation.help << '\n';
    }
    writeParameters(out, operation, alias);
    out << "Example:\n  " << exampleOf(operation, alias) << '\n';
}

void writeManual(std::ostream &out, const CLI::App &options, const std::string &version) {
    out << ".TH ZYL 1 \"\" \"zyl " << version << "\"\n"
        << ".SH NAME\nzyl \\- run image operations on picture files\n"
        << ".SH SYNOPSIS\n.B zyl\n.I INPUT\n[\\fIOPERATION\\fR[:\\fIname=value\\fR,...]]...\n"
        << ".I OUTPUT\n.br\n.B zyl\n.I COMMAND\n[\\fIWORD\\fR]...\n"
        << ".SH DESCRIPTION\n.nf\n";
    std::istringstream usage(options.get_description());
    for (std::string line; std::getline(usage, line);) out << escaped(line) << '\n';
    out << ".fi\n.SH OPTIONS\n";
    for (const Option &option : optionsOf(options))
        out << ".TP\n.B " << escaped(option.name) << '\n' << escaped(option.help) << '\n';
    out << ".SH OPERATIONS\n";
    for (const Family &family : operationFamilies()) {
        out << ".SS " << escaped(family.title) << '\n';
        for (const Operation &operation : family.operations) {
            out << ".TP\n.B " << escaped(operation.name) << '\n' << escaped(operation.help) << '\n';
            out << ".RS\n";
            for (const Parameter &p : operation.allParameters()) {
                out << ".TP\n.I " << escaped(std::string(p.name) + placeholder(p)) << '\n'
                    << escaped(explained(p)) << '\n';
            }
            out << ".PP\n" << escaped(exampleOf(operation)) << "\n.RE\n";
        }
    }
    out << ".SS Other names\n";
    for (const Alias &alias : aliases()) {
        out << ".TP\n.B " << escaped(alias.name) << '\n'
            << escaped(alias.help) << ": " << escaped(alias.words) << '\n';
    }
}

void writeCompletion(std::ostream &out, const CLI::App &options, const std::string &shell) {
    const std::string words = allWords(options);
    if (shell == "bash") {
        out << "# bash completion of zyl; made by zyl itself.\n"
               "_zyl() {\n"
               "    local word=\"${COMP_LINE:0:COMP_POINT}\" parameters=''\n"
               "    word=\"${word##* }\"\n"
               "    case \"${word%%:*}\" in\n";
        writeCases(out, "        ");
        out << "    esac\n"
               "    if [[ $word == *:* && -n $parameters ]]; then\n"
               "        # The shell itself cuts words at colons and equals signs.\n"
               "        local part=\"${word##*[:,]}\" cut=''\n"
               "        [[ $part == *=* ]] && cut=\"${part%%=*}=\"\n"
               "        COMPREPLY=($(compgen -W \"$parameters\" -- \"$part\"))\n"
               "        local before=\"${word%\"$part\"}\"\n"
               "        [[ $before == *,* ]] && COMPREPLY=(\"${COMPREPLY[@]/#/${before#*:}}\")\n"
               "        COMPREPLY=(\"${COMPREPLY[@]#\"$cut\"}\")\n"
               "        compopt -o nospace 2>/dev/null\n"
               "        return\n"
               "    fi\n"
               "    COMPREPLY=($(compgen -W '"
            << words
            << "' -- \"$word\") $(compgen -f -- \"$word\"))\n"
               "}\n"
               "complete -o filenames -F _zyl zyl\n";
        return;
    }
    if (shell != "zsh") throw Misuse("completion is there for bash and zsh");
    out << "#compdef zyl\n"
           "# zsh completion of zyl; made by zyl itself.\n"
           "local parameters=''\n"
           "case \"${PREFIX%%:*}\" in\n";
    writeCases(out, "    ");
    out << "esac\n"
           "if [[ $PREFIX == *:* && -n $parameters ]]; then\n"
           "    compset -P '*[:,]'\n"
           "    compadd -S '' -- ${=parameters}\n"
           "    return\n"
           "fi\n"
           "compadd -- "
        << words << "\n_files\n";
}

} // namespace tool
