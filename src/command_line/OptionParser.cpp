#include "command_line/OptionParser.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <type_traits>

namespace tandemview {

namespace {

constexpr int usageError = 2;

template <typename Value>
inline constexpr bool isOptional = false;
template <typename Value>
inline constexpr bool isOptional<std::optional<Value>> = true;

OptionParser::Check checkBy(CLI::Validator validator) {
  std::string description = validator.get_description();
  return {.fault = [validator = std::move(validator)](const std::string& text) { return validator(text); },
          .description = std::move(description)};
}

}  // namespace

OptionParser::Check OptionParser::range(double smallest, double largest) {
  return checkBy(CLI::Range(smallest, largest));
}

OptionParser::Check OptionParser::oneOf(std::vector<std::string> values) {
  return checkBy(CLI::IsMember(std::move(values)));
}

OptionParser::Check OptionParser::existingFile() {
  return checkBy(CLI::ExistingFile);
}

OptionParser::OptionParser(const std::string& description, const std::string& name, const std::string& version)
    : app_(std::make_unique<CLI::App>(description, name)) {
  if (!version.empty()) app_->set_version_flag("--version", version);
}

OptionParser::~OptionParser() = default;

CLI::App& OptionParser::place() {
  return group_ ? *group_ : *app_;
}

void OptionParser::group(const std::string& heading, bool needsOne) {
  group_ = app_->add_option_group(heading);
  if (needsOne) group_->require_option(1, 0);
}

template <typename Value>
void OptionParser::option(const Text& text, Value& value, const Check& check) {
  CLI::Option* option = place().add_option(text.name, value, text.help);
  if (!text.value.empty()) option->type_name(text.value);
  if (check.fault) {
    option->check(
        CLI::Validator([fault = check.fault](std::string& given) { return fault(given); }, check.description));
  }
  if constexpr (std::is_same_v<Value, std::string>) {
    if (!value.empty()) option->default_str(value);
  } else if constexpr (std::is_same_v<Value, std::optional<std::string>>) {
    if (value) option->default_str(*value);
  } else if constexpr (!isOptional<Value>) {
    option->capture_default_str();
  }
}

template void OptionParser::option(const Text&, std::string&, const Check&);
template void OptionParser::option(const Text&, std::uint16_t&, const Check&);
template void OptionParser::option(const Text&, std::uint32_t&, const Check&);
template void OptionParser::option(const Text&, std::uint64_t&, const Check&);
template void OptionParser::option(const Text&, double&, const Check&);
template void OptionParser::option(const Text&, std::optional<std::string>&, const Check&);
template void OptionParser::option(const Text&, std::optional<std::uint16_t>&, const Check&);
template void OptionParser::option(const Text&, std::optional<std::uint64_t>&, const Check&);
template void OptionParser::option(const Text&, std::optional<double>&, const Check&);

void OptionParser::flag(const std::string& name, const std::string& help, bool& value) {
  place().add_flag(name, value, help);
}

void OptionParser::exclude(const std::string& name, const std::string& other) {
  place().get_option(name)->excludes(place().get_option(other));
}

void OptionParser::footer(const std::string& text) {
  app_->footer(text);
}

std::optional<int> OptionParser::parse(int count, char** arguments) {
  try {
    app_->parse(count, arguments);
  } catch (const CLI::ParseError& error) {
    return app_->exit(error) == 0 ? 0 : usageError;
  }
  return std::nullopt;
}

}  // namespace tandemview
