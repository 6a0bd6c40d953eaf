// The command line, described: a tree of commands, each with its options, positional arguments and what it
// does. The parser takes it from here, and so may whoever else tells what there is to type.
//
//     Command& command = program.command("echo", "Ask a DICOM peer for an echo (C-ECHO)");
//     command.number("--repeat N", options->repeat, "Echoes on one association").range(1, 1000);
//     command.run([options] { return echo(*options); });
//
// What an option fills outlives the parsing; what it holds before is the default, which the help shows. Names
// that begin with '-' are options ("-j,--jobs"); others are positional arguments, in the order in which they
// were described. Behind a blank stands what the help calls the value ("--aet AET").
#ifndef ORVKIT_TOOLS_OPTIONS_H
#define ORVKIT_TOOLS_OPTIONS_H

#include <functional>
#include <initializer_list>
#include <list>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace tools {

// One option or positional argument. Each function describes more of it.
class Option {
  public:
    // "" or what is wrong with a text.
    using Check = std::function<std::string(const std::string&)>;
    // Words for numbers; either may be given.
    struct Named {
        std::vector<std::pair<std::string, int>> words;
        std::function<void(int)> set;
        int initial = 0;
    };
    using Target = std::variant<bool*, std::function<void()>, int*, unsigned int*, std::string*,
                                std::vector<std::string>*, Named>;
    enum class Existing { any, file, folder };

    Option(const std::string& names, Target target, std::string help)
        : names_(names[0] == '-' ? names.substr(0, names.find(' ')) : names),
          help_(std::move(help)),
          target_(std::move(target)),
          hasValueName_(names_.size() < names.size()) {
        if (hasValueName_) valueName_ = names.substr(names_.size() + 1);
    }

    // Its name says all that the help tells of its value.
    Option& bare() {
        hasValueName_ = true;
        return *this;
    }
    Option& required() {
        required_ = true;
        return *this;
    }
    // Least and most of a number.
    Option& range(int least, int most) {
        least_ = least;
        most_ = most;
        hasRange_ = true;
        return *this;
    }
    // The only texts there may be.
    Option& oneOf(std::vector<std::string> words) {
        words_ = std::move(words);
        return *this;
    }
    Option& inAnyCase() {
        anyCase_ = true;
        return *this;
    }
    Option& check(Check check) {
        check_ = std::move(check);
        return *this;
    }
    Option& existingFile() {
        existing_ = Existing::file;
        return *this;
    }
    Option& existingFolder() {
        existing_ = Existing::folder;
        return *this;
    }
    // Each time it is given it takes texts up to the next option; otherwise one.
    Option& severalAtOnce() {
        severalAtOnce_ = true;
        return *this;
    }
    // Not together with that option, which is described before this one.
    Option& excludes(std::string name) {
        excluded_ = std::move(name);
        return *this;
    }
    // The help tells in words what it is without the option.
    Option& hideDefault() {
        hidesDefault_ = true;
        return *this;
    }
    // Set when the option is on the command line, whatever its value.
    Option& given(bool& whether) {
        given_ = &whether;
        return *this;
    }

    bool isPositional() const { return names_[0] != '-'; }
    bool takesValue() const {
        return !std::holds_alternative<bool*>(target_) &&
               !std::holds_alternative<std::function<void()>>(target_);
    }
    bool isRepeated() const { return std::holds_alternative<std::vector<std::string>*>(target_); }

    // "-j" and "--jobs".
    std::vector<std::string> names() const;
    const std::string& help() const { return help_; }
    const std::string& valueName() const { return valueName_; }
    const std::vector<std::string>& words() const { return words_; }  // all that there may be, or none
    Existing existing() const { return existing_; }

  private:
    friend class Parser;

    std::string names_;
    std::string help_;
    Target target_;
    std::string valueName_;  // "AET"
    bool hasValueName_;
    bool required_ = false;
    bool hasRange_ = false;
    int least_ = 0;
    int most_ = 0;
    std::vector<std::string> words_;
    bool anyCase_ = false;
    Check check_;
    Existing existing_ = Existing::any;
    bool severalAtOnce_ = false;
    std::string excluded_;
    bool hidesDefault_ = false;
    bool* given_ = nullptr;
};

class Command {
  public:
    Command(std::string name, std::string help) : name_(std::move(name)), help_(std::move(help)) {}
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    // A subcommand. A command that has some wants one of them.
    Command& command(std::string name, std::string help) {
        Command& added = commands_.emplace_back(std::move(name), std::move(help));
        added.group_ = heading_;
        return added;
    }
    Option& flag(const std::string& names, bool& target, std::string help) {
        return add(names, &target, std::move(help));
    }
    // Calls when the flag is given, before the command runs.
    Option& flag(const std::string& names, std::function<void()> call, std::string help) {
        return add(names, std::move(call), std::move(help));
    }
    Option& number(const std::string& names, int& target, std::string help) {
        return add(names, &target, std::move(help));
    }
    Option& number(const std::string& names, unsigned int& target, std::string help) {
        return add(names, &target, std::move(help));
    }
    Option& text(const std::string& names, std::string& target, std::string help) {
        return add(names, &target, std::move(help));
    }
    // An option that may be given again and again, or all positional arguments from here on.
    Option& texts(const std::string& names, std::vector<std::string>& target, std::string help) {
        return add(names, &target, std::move(help));
    }
    // An enumeration, by words.
    template <typename Enum>
    Option& named(const std::string& names, Enum& target,
                  std::initializer_list<std::pair<const char*, Enum>> words, std::string help) {
        Option::Named choice;
        for (const auto& [word, number] : words) choice.words.emplace_back(word, static_cast<int>(number));
        choice.set = [&target](int number) { target = static_cast<Enum>(number); };
        choice.initial = static_cast<int>(target);
        std::vector<std::string> texts;
        for (const auto& [word, number] : words) texts.emplace_back(word);
        return add(names, std::move(choice), std::move(help)).oneOf(std::move(texts));
    }
    // Under what the help lists the subcommands that are described from here on.
    void heading(std::string text) { heading_ = std::move(text); }
    // Stands below the options in the help; that of the program for all commands that have none of their own.
    void footer(std::string text) { footer_ = std::move(text); }
    // What the command does; the exit status.
    void run(std::function<int()> work) { work_ = std::move(work); }

    const std::string& name() const { return name_; }
    const std::string& help() const { return help_; }
    const std::list<Option>& options() const { return options_; }
    const std::list<Command>& commands() const { return commands_; }

  private:
    friend class Parser;

    Option& add(const std::string& names, Option::Target target, std::string help) {
        return options_.emplace_back(names, std::move(target), std::move(help));
    }

    std::string name_;
    std::string help_;
    std::string footer_;
    std::string heading_ = "Subcommands";
    std::string group_;  // the heading it stands under
    std::list<Option> options_;
    std::list<Command> commands_;
    std::function<int()> work_;
};

// Parses the command line and runs the command that it names. Help and the version go to standard output;
// what is wrong with the usage is told on standard error, and the status is then EXIT_USAGE. `arguments`
// begins with the name of the program.
int runCommandLine(const Command& program, const std::vector<std::string>& arguments);

}  // namespace tools

#endif
