#include "platform/linux/x11/input/X11KeyLoans.h"

#include <algorithm>
#include <span>
#include <string_view>

namespace tandemview {

namespace {

/// For how long a symbol stays on its key at least: time for a busy program to ask for it. With a quarter of this, a
/// text field on a loaded machine has been seen to be too late.
constexpr double shortestLoan = 1.0;  // seconds

/// The property that names what is lent: a key and its symbol, and so on.
constexpr std::string_view ledgerName = "_TANDEMVIEW_LENT_KEYS";
struct LedgerEntry {
  std::uint32_t key = 0;
  std::uint32_t symbol = 0;
};

/// Gives the key `symbol` whether Shift is held or not.
void map(const X11Connection& connection, xcb_keycode_t key, xkb_keysym_t symbol) {
  const xcb_keysym_t symbols[] = {symbol, symbol};
  xcb_change_keyboard_mapping(connection.get(), /*keycode_count=*/1, key, std::size(symbols), symbols);
}

xkb_keysym_t symbolOf(const X11Connection& connection, xcb_keycode_t key) {
  const auto mapping = owned(
      xcb_get_keyboard_mapping_reply(connection.get(), xcb_get_keyboard_mapping(connection.get(), key, 1), nullptr));
  return mapping && mapping->keysyms_per_keycode > 0 ? xcb_get_keyboard_mapping_keysyms(mapping.get())[0]
                                                     : xkb_keysym_t{XKB_KEY_NoSymbol};
}

}  // namespace

X11KeyLoans::X11KeyLoans(std::shared_ptr<X11Connection> connection)
    : connection_(std::move(connection)), ledger_(connection_->atom(ledgerName)) {}

void X11KeyLoans::endLoansOfKilledRun() const {
  constexpr std::uint32_t mostEntries = 256;
  const auto ledger =
      owned(xcb_get_property_reply(connection_->get(),
                                   xcb_get_property(connection_->get(), /*_delete=*/1, connection_->root(), ledger_,
                                                    XCB_ATOM_CARDINAL, 0, mostEntries * sizeof(LedgerEntry) / 4),
                                   nullptr));
  if (!ledger || ledger->format != 32) return;
  const auto* const entries = static_cast<const LedgerEntry*>(xcb_get_property_value(ledger.get()));
  const xcb_setup_t& setup = *xcb_get_setup(connection_->get());
  for (const LedgerEntry& entry : std::span(entries, ledger->value_len * 4 / sizeof(LedgerEntry))) {
    if (entry.key < setup.min_keycode || entry.key > setup.max_keycode) continue;
    const auto key = static_cast<xcb_keycode_t>(entry.key);
    if (symbolOf(*connection_, key) == entry.symbol) map(*connection_, key, XKB_KEY_NoSymbol);
  }
}

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
    writeLedger();
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
  if (lentKeys().empty()) return;
  for (Key& key : keys_) {
    if (key.symbol != XKB_KEY_NoSymbol) map(connection, key.code, XKB_KEY_NoSymbol);
    key.symbol = XKB_KEY_NoSymbol;
  }
  xcb_delete_property(connection.get(), connection.root(), ledger_);
}

void X11KeyLoans::writeLedger() const {
  std::vector<LedgerEntry> entries;
  for (const Key& key : keys_) {
    if (key.symbol != XKB_KEY_NoSymbol) entries.push_back({.key = key.code, .symbol = key.symbol});
  }
  xcb_change_property(connection_->get(), XCB_PROP_MODE_REPLACE, connection_->root(), ledger_, XCB_ATOM_CARDINAL,
                      /*format=*/32, static_cast<std::uint32_t>(entries.size() * 2), entries.data());
}

}  // namespace tandemview
