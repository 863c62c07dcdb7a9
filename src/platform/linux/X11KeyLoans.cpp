#include "platform/linux/X11KeyLoans.h"

#include <algorithm>

namespace tandemview {

namespace {

/// For how long a symbol stays on its key at least: time for a busy program to ask for it. With a quarter of this, a
/// text field on a loaded machine has been seen to be too late.
constexpr double shortestLoan = 1.0;  // seconds

/// Gives the key `symbol` whether Shift is held or not.
void map(const X11Connection& connection, xcb_keycode_t key, xkb_keysym_t symbol) {
  const xcb_keysym_t symbols[] = {symbol, symbol};
  xcb_change_keyboard_mapping(connection.get(), /*keycode_count=*/1, key, std::size(symbols), symbols);
}

}  // namespace

void X11KeyLoans::adopt(const X11KeyLayout& layout) {
  std::erase_if(keys_, [&layout](const Key& key) {
    return key.symbol == XKB_KEY_NoSymbol || layout.symbolOf(key.code) != key.symbol;
  });
  std::vector<Key> unused;
  for (const xcb_keycode_t code : layout.unusedKeys()) unused.push_back({.code = code});
  keys_.insert(keys_.begin(), unused.begin(), unused.end());
}

X11KeyLoans::Loan X11KeyLoans::lend(xkb_keysym_t symbol, double now) {
  if (keys_.empty()) return {};
  auto key = std::ranges::find(keys_, symbol, &Key::symbol);
  if (key == keys_.end()) {
    key = keys_.begin();
    if (key->symbol != XKB_KEY_NoSymbol && now - key->lastUse < shortestLoan)
      return {.secondsToWait = shortestLoan - (now - key->lastUse)};
    key->symbol = symbol;
    map(*connection_, key->code, symbol);
  }
  key->lastUse = now;
  std::rotate(key, key + 1, keys_.end());
  return {.key = keys_.back().code};
}

bool X11KeyLoans::isLent(xcb_keycode_t code) const {
  const auto key = std::ranges::find(keys_, code, &Key::code);
  return key != keys_.end() && key->symbol != XKB_KEY_NoSymbol;
}

std::vector<xcb_keycode_t> X11KeyLoans::lentKeys() const {
  std::vector<xcb_keycode_t> codes;
  for (const Key& key : keys_) {
    if (key.symbol != XKB_KEY_NoSymbol) codes.push_back(key.code);
  }
  return codes;
}

void X11KeyLoans::giveBack(const X11Connection& connection) {
  for (Key& key : keys_) {
    if (key.symbol != XKB_KEY_NoSymbol) map(connection, key.code, XKB_KEY_NoSymbol);
    key.symbol = XKB_KEY_NoSymbol;
  }
}

}  // namespace tandemview
