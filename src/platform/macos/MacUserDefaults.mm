#import "platform/macos/MacUserDefaults.h"

#import "platform/macos/FoundationString.h"

namespace tandemview {

namespace {

/// What is stored under `key` if it is of the class; nil otherwise.
id valueOfClass(Class type, const std::string& key) {
  const id value = [NSUserDefaults.standardUserDefaults objectForKey:foundationString(key)];
  return [value isKindOfClass:type] ? value : nil;
}

void store(id value, const std::string& key) {
  [NSUserDefaults.standardUserDefaults setObject:value forKey:foundationString(key)];
}

}  // namespace

std::optional<std::string> MacUserDefaults::string(const std::string& key) const {
  NSString* value = valueOfClass(NSString.class, key);
  if (!value) return std::nullopt;
  return stringFrom(value);
}

void MacUserDefaults::setString(const std::string& key, const std::string& value) {
  store(foundationString(value), key);
}

std::optional<bool> MacUserDefaults::boolean(const std::string& key) const {
  // A value written by hand is a string unless its type was named, and Foundation reads "YES", "true" and "1" as well.
  if (!valueOfClass(NSNumber.class, key) && !valueOfClass(NSString.class, key)) return std::nullopt;
  return [NSUserDefaults.standardUserDefaults boolForKey:foundationString(key)];
}

void MacUserDefaults::setBoolean(const std::string& key, bool value) {
  store(@(value), key);
}

std::optional<double> MacUserDefaults::date(const std::string& key) const {
  NSDate* value = valueOfClass(NSDate.class, key);
  if (!value) return std::nullopt;
  return value.timeIntervalSince1970;
}

void MacUserDefaults::setDate(const std::string& key, double secondsSince1970) {
  store([NSDate dateWithTimeIntervalSince1970:secondsSince1970], key);
}

}  // namespace tandemview
