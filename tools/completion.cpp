// orvkit completion: what bash and zsh need to complete the command line, from the description that the
// parser has.
#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "tools/commands.h"

namespace tools {
namespace {

// A command with the words that lead to it: "orvkit dicomdir make".
struct Named {
    std::string path;
    const Command* command;
    std::vector<const Option*> options;  // its own, and those of the program
};

void gather(const Command& command, const std::string& path, const std::vector<const Option*>& above,
            std::vector<Named>& all) {
    Named named = {path, &command, above};
    for (const Option& option : command.options()) named.options.push_back(&option);
    all.push_back(named);
    for (const Command& sub : command.commands()) gather(sub, path + " " + sub.name(), named.options, all);
}

std::string joined(const std::vector<std::string>& words, const char* between) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
    return text;
}

// ---- bash -------------------------------------------------------------------------------------------------

// How the value of an option is completed.
std::string bashValue(const Option& option) {
    if (!option.words().empty()) return "-W '" + joined(option.words(), " ") + "'";
    if (option.existing() == Option::Existing::folder) return "-d";
    return option.existing() == Option::Existing::file ? "-f" : "";
}

std::string bashCommand(const Named& named) {
    std::vector<std::string> words = {"-h", "--help"};
    if (named.path.find(' ') == std::string::npos) words.emplace_back("--version");
    std::string values;
    for (const Option* option : named.options) {
        if (option->isPositional()) continue;
        std::vector<std::string> patterns;
        for (const std::string& name : option->names()) {
            words.push_back(name);
            patterns.push_back("\"" + named.path + " " + name + "\"");
        }
        if (option->takesValue()) {
            values += "    " + joined(patterns, " | ") + ") kind=(" + bashValue(*option) + ") ;;\n";
        }
    }
    std::vector<std::string> subs;
    for (const Command& sub : named.command->commands()) subs.push_back(sub.name());
    return values + "    \"" + named.path + " \"*) options='" + joined(words, " ") + "' commands='" +
           joined(subs, " ") + "' ;;\n";
}

std::string bashCompletion(const std::vector<Named>& all) {
    std::vector<std::string> paths;
    paths.reserve(all.size());
    std::string cases;
    for (const Named& named : all) paths.push_back("\"" + named.path + "\"");
    // The longest paths first: "orvkit dicomdir make" before "orvkit dicomdir".
    for (auto named = all.rbegin(); named != all.rend(); ++named) cases += bashCommand(*named);
    return "# Completion for bash. Made by `orvkit completion bash`.\n"
           "_orvkit() {\n"
           "  local path=orvkit i cur=${COMP_WORDS[COMP_CWORD]} options= commands=\n"
           "  local -a kind=(none)\n"
           "  for ((i = 1; i < COMP_CWORD; ++i)); do\n"
           "    case \"$path ${COMP_WORDS[i]}\" in\n"
           "    " +
           joined(paths, " | ") +
           ") path+=\" ${COMP_WORDS[i]}\" ;;\n"
           "    esac\n"
           "  done\n"
           "  case \"$path ${COMP_WORDS[COMP_CWORD - 1]}\" in\n" +
           cases +
           "  esac\n"
           "  COMPREPLY=()\n"
           "  if [[ ${kind[0]} != none ]]; then  # the value of an option, of which there may be nothing to "
           "tell\n"
           "    [[ ${#kind[@]} -eq 0 ]] || mapfile -t COMPREPLY < <(compgen \"${kind[@]}\" -- \"$cur\")\n"
           "  elif [[ $cur == -* ]]; then\n"
           "    mapfile -t COMPREPLY < <(compgen -W \"$options\" -- \"$cur\")\n"
           "  elif [[ -n $commands ]]; then\n"
           "    mapfile -t COMPREPLY < <(compgen -W \"$commands\" -- \"$cur\")\n"
           "  else\n"
           "    mapfile -t COMPREPLY < <(compgen -f -- \"$cur\")\n"
           "  fi\n"
           "}\n"
           "complete -o filenames -F _orvkit orvkit\n";
}

// ---- zsh --------------------------------------------------------------------------------------------------

// A text between single quotes, in which brackets and colons end something.
std::string zshText(const std::string& text) {
    std::string escaped;
    for (char c : text) {
        if (c == '\'') {
            escaped += "'\\''";
            continue;
        }
        if (c == '[' || c == ']' || c == ':' || c == '\\') escaped += '\\';
        escaped += c == '\n' ? ' ' : c;
    }
    return escaped;
}

std::string zshAction(const Option& option) {
    if (!option.words().empty()) return "(" + joined(option.words(), " ") + ")";
    if (option.existing() == Option::Existing::folder) return "_files -/";
    return option.isPositional() || option.existing() == Option::Existing::file ? "_files" : " ";
}

std::string zshOption(const Option& option) {
    const std::string action = zshAction(option);
    if (option.isPositional()) {
        return std::string("'") + (option.isRepeated() ? "*" : "") + ":" + zshText(option.names().front()) +
               ":" + action + "'";
    }
    const std::vector<std::string> names = option.names();
    std::string text = option.isRepeated() ? "'*'" : "'(" + joined(names, " ") + ")'";
    text += names.size() == 1 ? names.front() : "{" + joined(names, ",") + "}";
    text += "'[" + zshText(option.help()) + "]";
    if (option.takesValue()) {
        const std::string& value = option.valueName();
        text += ":" + zshText(value.empty() ? "value" : value) + ":" + action;
    }
    return text + "'";
}

std::string zshFunction(const std::string& path) {
    std::string name = "_" + path;
    std::replace(name.begin(), name.end(), ' ', '_');
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

std::string zshCommand(const Named& named) {
    std::string text =
        zshFunction(named.path) + "() {\n  local curcontext=$curcontext state\n  local -a line\n";
    std::string cases;
    std::string list;
    for (const Command& sub : named.command->commands()) {
        list += "    '" + sub.name() + ":" + zshText(sub.help()) + "'\n";
        cases += "        " + sub.name() + ") " + zshFunction(named.path + " " + sub.name()) + " ;;\n";
    }
    if (!list.empty()) text += "  local -a commands=(\n" + list + "  )\n";
    text += "  _arguments -C '(-h --help)'{-h,--help}'[Help]'";
    if (named.path.find(' ') == std::string::npos) text += " '--version[Version]'";
    for (const Option* option : named.options) text += " \\\n    " + zshOption(*option);
    if (list.empty()) return text + "\n}\n";
    return text +
           " \\\n    '1:command:->command' '*::argument:->argument'\n"
           "  case $state in\n"
           "    command) _describe command commands ;;\n"
           "    argument)\n"
           "      case $line[1] in\n" +
           cases +
           "      esac ;;\n"
           "  esac\n}\n";
}

std::string zshCompletion(const std::vector<Named>& all) {
    std::string text = "#compdef orvkit\n# Completion for zsh. Made by `orvkit completion zsh`.\n";
    for (const Named& named : all) text += zshCommand(named);
    return text + "_orvkit \"$@\"\n";
}

}  // namespace

void addCompletion(Command& program) {
    Command& command = program.command("completion", "Print what a shell needs to complete this command");
    auto shell = std::make_shared<std::string>();
    command.text("SHELL", *shell, "bash or zsh").required().oneOf({"bash", "zsh"});
    command.footer("For this shell only: source <(orvkit completion bash)");
    command.run([&program, shell] {
        std::vector<Named> all;
        gather(program, program.name(), {}, all);
        const std::string text = *shell == "bash" ? bashCompletion(all) : zshCompletion(all);
        (void)std::fwrite(text.data(), 1, text.size(), stdout);
        return EXIT_OK;
    });
}

}  // namespace tools
