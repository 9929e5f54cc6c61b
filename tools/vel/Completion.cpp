// `vel completion`: scripts for shells, which ask `vel __complete` for the words that may come next.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Commands.h"
#include "Console.h"
#include "Grammar.h"
#include "Registry.h"

namespace veltool {
namespace {

using velhost::ImageArgument;
using velhost::Operation;
using velhost::Parameter;
using velhost::ValueType;

// What may stand at one place of a command line.
struct Candidates {
    std::vector<std::pair<std::string, std::string>> words;  // and what they mean
    bool files = false;

    void Add(const std::string& word, const std::string& doc) { words.emplace_back(word, doc); }
};

void AddOperations(Candidates* candidates) {
    for (const Operation& operation : velhost::Operations()) candidates->Add(operation.name, operation.summary);
}

// Values of a step's option.
void AddValues(const Parameter& parameter, Candidates* candidates) {
    if (parameter.type == ValueType::Boolean) {
        candidates->Add("true", "");
        candidates->Add("false", "");
    }
    for (const velhost::Choice& choice : parameter.choices) candidates->Add(choice.name, choice.doc);
}

const OptionText* FindRunOption(const std::vector<OptionText>& options, const std::string& word) {
    for (const OptionText& option : options) {
        const std::string names = "," + option.names + ",";
        if (names.find("," + word + ",") != std::string::npos) return &option;
    }
    return nullptr;
}

void AddRunValues(const OptionText& option, Candidates* candidates) {
    if (option.names.ends_with("--as")) {
        for (const auto& format : velhost::Formats()) candidates->Add(format.name, format.description);
    } else if (option.names.ends_with("--convert")) {
        for (const char* name : {"widen", "8bit", "rgb", "round", "all"}) candidates->Add(name, "");
    } else if (option.names.ends_with("--on-error")) {
        candidates->Add("skip", "go on with the other pictures");
        candidates->Add("stop", "do not go on");
    } else if (option.names.ends_with("--compression")) {
        for (const char* name : {"none", "lzw", "deflate", "packbits", "group4"}) candidates->Add(name, "");
    } else {
        candidates->files = option.value.find("FILE") != std::string::npos || option.value == "OUT";
    }
}

// The place after `before` in `vel run ...`; `before` begins with a step.
Candidates AfterRun(const Words& before) {
    Candidates candidates;
    const Operation* operation = nullptr;
    bool nameDue = true;
    for (const std::string& word : before) {
        if (nameDue) operation = velhost::FindOperation(word);
        nameDue = word == "+";
    }
    const auto options = RunOptionTexts();
    const std::string last = before.empty() ? "" : before.back();
    if (!nameDue && last.starts_with("--") && operation) {
        const std::string name = last.substr(2);
        const Parameter* parameter = operation->FindParameter(name);
        if (parameter && parameter->type != ValueType::Boolean) {
            AddValues(*parameter, &candidates);
            return candidates;
        }
        candidates.files = name != "input" && operation->FindImage(name) != nullptr;
        if (candidates.files) return candidates;
    }
    const OptionText* option = FindRunOption(options, last);
    if (option && !option->value.empty()) {
        AddRunValues(*option, &candidates);
        return candidates;
    }
    if (nameDue) {
        AddOperations(&candidates);
        if (before.empty()) candidates.Add("--recipe", "steps from a JSON file");
        return candidates;
    }
    if (operation) {
        for (const Parameter& parameter : operation->parameters) candidates.Add("--" + parameter.name, parameter.doc);
        for (const ImageArgument& image : operation->images) {
            if (image.name != "input") candidates.Add("--" + image.name, image.doc);
        }
    }
    for (const OptionText& each : options) candidates.Add(each.names.substr(each.names.rfind("--")), each.doc);
    candidates.Add("+", "another step");
    // More pictures may follow -i.
    for (auto word = before.rbegin(); word != before.rend(); ++word) {
        if (!word->starts_with('-') || *word == "-") continue;
        candidates.files = *word == "-i" || *word == "--in";
        break;
    }
    return candidates;
}

Candidates After(const Words& before) {
    Candidates candidates;
    if (before.empty()) {
        for (const Command& command : Commands()) candidates.Add(command.name, command.summary);
        AddOperations(&candidates);
        return candidates;
    }
    const Words rest(before.begin() + 1, before.end());
    const std::string& command = before[0];
    if (command == "run") return AfterRun(rest);
    if (velhost::FindOperation(command)) return AfterRun(before);
    if (command == "help") {
        for (const Command& known : Commands()) candidates.Add(known.name, known.summary);
        AddOperations(&candidates);
        candidates.Add("exit-codes", "what the exit codes mean");
    } else if (command == "completion") {
        for (const char* shell : {"bash", "zsh", "fish"}) candidates.Add(shell, "");
    } else if (command == "recipe" && rest.empty()) {
        candidates.Add("check", "say whether recipes are good");
        candidates.Add("make", "turn steps into a recipe");
    } else if (command == "recipe" && rest[0] == "make") {
        return AfterRun(Words(rest.begin() + 1, rest.end()));
    } else if (const Command* known = FindCommand(command)) {
        candidates.files = command == "info" || command == "compare" || command == "recipe" || command == "man" ||
                           command == "gallery" || command == "manual";
        for (const auto& [option, text] : known->options) {
            const std::string names(option, std::strcspn(option, " "));
            candidates.Add(names.substr(names.rfind("--")), text);
        }
    }
    return candidates;
}

constexpr const char* kBash = R"sh(# bash completion for vel
_vel() {
    local current=${COMP_WORDS[COMP_CWORD]} word files= words=() i
    # Bash takes --option=value apart, into three words.
    for ((i = 1; i <= COMP_CWORD; ++i)); do
        if [[ ${COMP_WORDS[i]} != = ]]; then
            words+=("${COMP_WORDS[i]}")
        elif ((i == COMP_CWORD)); then
            words+=("") current=
        fi
    done
    COMPREPLY=()
    while IFS= read -r word; do
        case $word in
            :files) files=1 ;;
            *) COMPREPLY+=("${word%%$'\t'*}") ;;
        esac
    done < <("${COMP_WORDS[0]}" __complete "${#words[@]}" "${words[@]}" 2>/dev/null)
    if [[ -n $files ]]; then
        compopt -o filenames 2>/dev/null
        while IFS= read -r word; do COMPREPLY+=("$word"); done < <(compgen -f -- "$current")
    fi
}
complete -F _vel vel
)sh";

constexpr const char* kZsh = R"sh(#compdef vel
# zsh completion for vel
_vel() {
    local line files= ; local -a found
    while IFS= read -r line; do
        if [[ $line == :files ]]; then files=1; continue; fi
        found+=("${${line%%$'\t'*}//:/\\:}:${line#*$'\t'}")
    done < <("${words[1]}" __complete "$((CURRENT - 1))" "${(@)words[2,-1]}" 2>/dev/null)
    (( ${#found} )) && _describe -V vel found
    [[ -n $files ]] && _files
}
if [[ ${funcstack[1]} == _vel ]]; then _vel "$@"; else compdef _vel vel; fi
)sh";

constexpr const char* kFish = R"sh(# fish completion for vel
function __vel_complete
    set -l before (commandline -opc) (commandline -ct)
    set -l files
    for line in ($before[1] __complete (math (count $before) - 1) $before[2..-1] 2>/dev/null)
        if test "$line" = ':files'
            set files 1
        else
            echo $line
        end
    end
    test -n "$files"; and __fish_complete_path (commandline -ct)
end
complete -c vel -f -a '(__vel_complete)'
)sh";

}  // namespace

int CompletionCommand(const Words& words) {
    const std::string shell = words.size() == 1 ? words[0] : "";
    const char* script = shell == "bash" ? kBash : shell == "zsh" ? kZsh : shell == "fish" ? kFish : nullptr;
    if (!script) throw Failure(kUsage, "completion: allowed is bash, zsh or fish");
    std::fputs(script, stdout);
    return kOk;
}

// words: the index of the word to complete (the program's name is 0), then all words after the program's name.
int CompleteCommand(const Words& words) {
    if (words.empty()) return kUsage;
    const auto index = static_cast<size_t>(std::max(1, std::atoi(words[0].c_str())));
    const std::string current = index < words.size() ? words[index] : "";
    const Words before(words.begin() + 1, words.begin() + static_cast<ptrdiff_t>(std::min(index, words.size())));
    const Candidates candidates = After(before);
    for (const auto& [word, doc] : candidates.words) {
        if (word.starts_with(current)) std::printf("%s\t%s\n", word.c_str(), doc.c_str());
    }
    if (candidates.files && !current.starts_with("--")) std::printf(":files\n");
    return kOk;
}

}  // namespace veltool
