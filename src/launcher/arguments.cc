#include "launcher/arguments.h"

#include <algorithm>
#include <utility>

#include "util/strings.h"

namespace quelto::launcher {
namespace {

constexpr std::int64_t portOfNoNumber = 22;

std::int64_t portOf(std::string_view text) { return util::decimalInteger(text).value_or(portOfNoNumber); }

bool takesValue(std::string_view option) {
  return std::ranges::find(sshValueOptions, option) != sshValueOptions.end();
}

class ArgumentParser {
 public:
  explicit ArgumentParser(std::string foundSsh) { result_.sshCommand = std::move(foundSsh); }

  void take(std::string_view word) {
    switch (state_) {
      case State::normal:
        return takeNormal(word);
      case State::optionValue:
        result_.options.emplace_back(word);
        state_ = State::normal;
        return;
      case State::ownValue:
        store(std::exchange(ownOption_, '\0'), word);
        state_ = State::normal;
        return;
      case State::command:
        result_.command.emplace_back(word);
    }
  }

  [[nodiscard]] ParsedArguments result() && { return std::move(result_); }

 private:
  enum class State { normal, optionValue, ownValue, command };

  /// The options whose values the tool keeps, whether joined to the option or in the next word.
  static constexpr std::string_view ownOptions = "zZlip";

  void takeNormal(std::string_view word) {
    const bool isOwn =
        word.size() >= 2 && word[0] == '-' && ownOptions.find(word[1]) != std::string_view::npos;
    if (isOwn && word.size() == 2) {
      ownOption_ = word[1];
      state_ = State::ownValue;
    } else if (isOwn) {
      const std::string_view value = word.substr(2);
      store(word[1], word[1] == 'p' ? util::trimWhitespace(value) : util::trim(value));
    } else if (takesValue(word)) {
      result_.options.emplace_back(word);
      state_ = State::optionValue;
    } else if (word.starts_with('-')) {
      result_.options.emplace_back(word);
    } else if (result_.destination.empty()) {
      result_.destination = word;
    } else {
      result_.command.emplace_back(word);
      state_ = State::command;
    }
  }

  void store(char option, std::string_view value) {
    switch (option) {
      case 'z':
        result_.sshCommand = value;
        break;
      case 'Z':
        result_.group_Id = value;
        break;
      case 'l':
        result_.username = value;
        break;
      case 'i':
        result_.identify = value;
        break;
      default:
        result_.port = portOf(value);
    }
  }

  State state_ = State::normal;
  char ownOption_ = '\0';
  ParsedArguments result_;
};

}  // namespace

ParsedArguments parseArguments(std::span<const std::string> words, std::string foundSsh) {
  ArgumentParser parser(std::move(foundSsh));
  for (const std::string& word : words) parser.take(util::trim(word));
  return std::move(parser).result();
}

}  // namespace quelto::launcher
