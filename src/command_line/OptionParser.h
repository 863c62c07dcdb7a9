#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option_group;
}  // namespace CLI

namespace tandemview {

/// Reads the options of a program, which declares them one by one. CLI11 does it: this class is the one unit that
/// compiles its headers, which take as long as a room of ours.
class OptionParser {
 public:
  struct Text {
    std::string name;   // with its dashes
    std::string help;   // half a sentence
    std::string value;  // what stands for the value in the help
  };

  struct Check {
    std::function<std::string(const std::string&)> fault;  // empty: the value is good
    std::string description;                               // for the help
  };
  static Check range(double smallest, double largest);
  static Check oneOf(std::vector<std::string> values);
  static Check existingFile();

  OptionParser(const std::string& description, const std::string& name, const std::string& version = "");
  ~OptionParser();
  OptionParser(const OptionParser&) = delete;
  OptionParser& operator=(const OptionParser&) = delete;

  /// What is declared from here on stands below `heading`. If `needsOne`, at least one of these options must be given.
  void group(const std::string& heading, bool needsOne = false);

  /// `value` holds the default and lives until parse() is through. It is a std::string, a double, a std::uint16_t,
  /// std::uint32_t, std::uint64_t, or the std::optional of one of these.
  template <typename Value>
  void option(const Text& text, Value& value, const Check& check = {});

  void flag(const std::string& name, const std::string& help, bool& value);

  /// Both at once are an error.
  void exclude(const std::string& name, const std::string& other);

  /// What stands below everything else in the help.
  void footer(const std::string& text);

  /// Fills the values. The status to end with when there is nothing left to do: 0 after --help and --version, 2 after
  /// an error, which is told on standard error.
  std::optional<int> parse(int count, char** arguments);

 private:
  CLI::App& place();

  std::unique_ptr<CLI::App> app_;
  CLI::Option_group* group_ = nullptr;
};

}  // namespace tandemview
