#include "tools/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <type_traits>

#include "foundation/version.h"
#include "services/charset.h"
#include "services/nearest.h"
#include "services/report.h"

namespace tools {

std::vector<std::string> Option::names() const {
    std::vector<std::string> all;
    for (std::size_t from = 0; from <= names_.size();) {
        const std::size_t comma = std::min(names_.find(',', from), names_.size());
        all.push_back(names_.substr(from, comma - from));
        from = comma + 1;
    }
    return all;
}

// Builds the parser's own description, and keeps the exit status of the command that runs.
class Parser {
  public:
    Parser(const Command& program, const std::vector<std::string>& arguments)
        : program_(program), app_(program.help_, program.name_), arguments_(arguments) {
        app_.set_version_flag("--version", program.name_ + " " ORVKIT_VERSION);
        app_.footer(program.footer_);
        app_.failure_message(tellFailure);
        app_.fallthrough();  // options of the program may stand behind those of the command
        describe(app_, program);
    }

    int run() {
        std::vector<const char*> texts;
        texts.reserve(arguments_.size());
        for (const std::string& argument : arguments_) texts.push_back(argument.c_str());
        try {
            app_.parse(static_cast<int>(texts.size()), texts.data());
        } catch (const CLI::Success& asked) {  // --help, --version
            app_.exit(asked);
        } catch (const CLI::RequiredError& error) {  // misspelt words may be why something is missing
            const std::vector<std::string> unknown = app_.remaining(true);
            if (unknown.empty()) {
                app_.exit(error);
            } else {
                app_.exit(CLI::ExtrasError(unknown));
                suggest(unknown);
            }
            return services::EXIT_USAGE;
        } catch (const CLI::ExtrasError& error) {
            app_.exit(error);
            suggest(app_.remaining(true));
            return services::EXIT_USAGE;
        } catch (const CLI::Error& error) {
            app_.exit(error);
            return services::EXIT_USAGE;
        }
        return status_;
    }

  private:
    // Words of the command line are told as they are, but for what a terminal would obey.
    static std::string tellFailure(const CLI::App* app, const CLI::Error& error) {
        const CLI::Error shown(error.get_name(), services::withEscapes(error.what()), error.get_exit_code());
        return CLI::FailureMessage::simple(app, shown);
    }

    // What the words that nobody takes may have been meant for: options and subcommands of the commands that
    // the line names.
    void suggest(const std::vector<std::string>& unknown) const {
        std::vector<std::string> options = {"--help", "--version"};
        std::vector<std::string> commands;
        const Command* command = &program_;
        for (const CLI::App* app = &app_; command != nullptr;) {
            for (const Option& option : command->options()) {
                for (const std::string& name : option.names()) {
                    if (name.starts_with("--")) options.push_back(name);
                }
            }
            commands.clear();
            for (const Command& sub : command->commands()) commands.push_back(sub.name());
            const std::vector<CLI::App*> named = app->get_subcommands();
            command = named.empty() ? nullptr : subcommand(*command, named.front()->get_name());
            if (command != nullptr) app = named.front();
        }
        for (const std::string& word : unknown) {
            const std::string name = word.substr(0, word.find('='));
            const std::string meant = services::nearest(name, name.starts_with("-") ? options : commands);
            if (meant.empty()) continue;
            services::complain("%s%s", word.c_str(), services::didYouMean(meant).c_str());
            return;
        }
    }
    static const Command* subcommand(const Command& command, const std::string& name) {
        for (const Command& sub : command.commands()) {
            if (sub.name() == name) return &sub;
        }
        return nullptr;
    }

    // Describing the options of all commands is most of what a short run costs; those that no argument names
    // are known by name and help alone.
    bool mayRun(const Command& command) const {
        return std::find(arguments_.begin(), arguments_.end(), command.name_) != arguments_.end();
    }

    void describe(CLI::App& app, const Command& command) {
        for (const Option& option : command.options_) add(app, option);
        if (!command.commands_.empty()) app.require_subcommand(1);
        for (const Command& sub : command.commands_) {
            CLI::App& added = *app.add_subcommand(sub.name_, sub.help_);
            added.group(sub.group_);
            if (mayRun(sub)) describe(added, sub);
        }
        if (!command.footer_.empty())
            app.footer(command.footer_);  // its subcommands took that of the program
        if (command.work_) app.callback([this, &command] { status_ = command.work_(); });
    }

    static void add(CLI::App& app, const Option& option) {
        CLI::Option& added =
            *std::visit([&](const auto& target) { return make(app, option, target); }, option.target_);
        if (option.required_) added.required();
        if (option.hasValueName_) added.type_name(option.valueName_);
        if (option.hasRange_) added.check(CLI::Range(option.least_, option.most_));
        if (option.check_) added.check(option.check_);
        if (std::holds_alternative<Option::Named>(option.target_)) {
            // Its words stand for numbers, and it has seen to both.
        } else if (!option.words_.empty() && option.anyCase_) {
            added.check(CLI::IsMember(option.words_, CLI::ignore_case));
        } else if (!option.words_.empty()) {
            added.check(CLI::IsMember(option.words_));
        }
        if (option.existing_ == Option::Existing::file) added.check(CLI::ExistingFile);
        if (option.existing_ == Option::Existing::folder) added.check(CLI::ExistingDirectory);
        if (option.isRepeated() && !option.isPositional() && !option.severalAtOnce_) {
            added.allow_extra_args(false);
        }
        if (!option.excluded_.empty()) added.excludes(app.get_option(option.excluded_));
        if (option.given_ != nullptr) {
            added.each([given = option.given_](const std::string&) { *given = true; });
        }
    }

    static CLI::Option* make(CLI::App& app, const Option& option, bool* target) {
        return app.add_flag(option.names_, *target, option.help_);
    }
    static CLI::Option* make(CLI::App& app, const Option& option, const std::function<void()>& call) {
        return app.add_flag_callback(option.names_, call, option.help_);
    }
    static CLI::Option* make(CLI::App& app, const Option& option, const Option::Named& choice) {
        CLI::Option* const added = app.add_option_function<int>(option.names_, choice.set, option.help_);
        std::string all;
        for (const auto& [word, number] : choice.words) {
            all += (all.empty() ? "" : ",") + word;
            if (number == choice.initial) added->default_str(word);
        }
        const auto take = [words = choice.words, all](std::string& text) -> std::string {
            for (const auto& [word, number] : words) {
                if (text != word && text != std::to_string(number)) continue;
                text = std::to_string(number);
                return "";
            }
            return "'" + text + "' is none of {" + all + "}";
        };
        added->type_name("ENUM")->transform(CLI::Validator(take, "{" + all + "}"));
        return added;
    }
    // Numbers and texts.
    template <typename T>
    static CLI::Option* make(CLI::App& app, const Option& option, T* target) {
        CLI::Option* const added = app.add_option(option.names_, *target, option.help_);
        if constexpr (!std::is_same_v<T, std::vector<std::string>>) {
            if (!option.hidesDefault_) added->capture_default_str();
        }
        return added;
    }

    const Command& program_;
    CLI::App app_;
    const std::vector<std::string>& arguments_;
    int status_ = services::EXIT_OK;
};

int runCommandLine(const Command& program, const std::vector<std::string>& arguments) {
    return Parser(program, arguments).run();
}

}  // namespace tools
