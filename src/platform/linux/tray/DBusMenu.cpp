#include "platform/linux/tray/DBusMenu.h"

#include <sdbus-c++/sdbus-c++.h>

#include <tuple>
#include <utility>

#include "platform/linux/bus/BusService.h"

namespace tandemview {

namespace {

constexpr const char* menuInterface = "com.canonical.dbusmenu";
constexpr std::uint32_t protocolVersion = 3;

/// Of the lines, not of their properties: which lines there are never changes.
constexpr std::uint32_t revision = 1;

/// A host that has announced the opening and says nothing for one to two of these is taken to be done. Those with GTK's
/// implementation of the protocol (xfce4-panel, waybar) say no more than that, and what they show must stay fresh.
constexpr double silentSeconds = 30;

using Identifier = MenuTree::Identifier;
using Identifiers = std::vector<Identifier>;
using LineProperties = sdbus::Struct<Identifier, MenuTree::Properties>;
using EventMessage = sdbus::Struct<Identifier, std::string, sdbus::Variant, std::uint32_t>;

sdbus::Error invalidArguments(const std::string& description) {
  return {"org.freedesktop.DBus.Error.InvalidArgs", description};
}

}  // namespace

std::shared_ptr<DBusMenu> DBusMenu::serving(Surroundings surroundings, const std::string& path,
                                            const std::vector<std::shared_ptr<MenuItem>>& menu) {
  std::shared_ptr<DBusMenu> self(new DBusMenu(std::move(surroundings), menu));
  self->object_ = sdbus::createObject(self->surroundings_.connection->bus(), path);
  self->registerQueries();
  self->registerEvents();
  self->registerProperties();
  self->object_->finishRegistration();
  return self;
}

DBusMenu::DBusMenu(Surroundings surroundings, const std::vector<std::shared_ptr<MenuItem>>& menu)
    : surroundings_(std::move(surroundings)), tree_(menu) {}

DBusMenu::~DBusMenu() {
  close();
}

void DBusMenu::registerQueries() {
  object_->registerMethod("GetLayout")
      .onInterface(menuInterface)
      .implementedAs([this](Identifier parent, std::int32_t depth, const MenuTree::Names& names) {
        requireLine(parent);
        return std::make_tuple(revision, tree_.layout(parent, depth, names));
      });
  object_->registerMethod("GetGroupProperties")
      .onInterface(menuInterface)
      .implementedAs([this](const Identifiers& lines, const MenuTree::Names& names) {
        // No line twice and none that isn't there: the answer never outgrows the menu.
        const std::set<Identifier> wanted(lines.begin(), lines.end());
        std::vector<LineProperties> properties;
        for (Identifier line = 0; line < tree_.size(); ++line) {
          if (lines.empty() || wanted.contains(line)) properties.emplace_back(line, tree_.properties(line, names));
        }
        wasHeard_ = true;
        return properties;
      });
  object_->registerMethod("GetProperty")
      .onInterface(menuInterface)
      .implementedAs([this](Identifier line, const std::string& name) {
        requireLine(line);
        const MenuTree::Properties properties = tree_.properties(line, {name});
        if (properties.empty()) throw invalidArguments("The line has no such property");
        return properties.begin()->second;
      });
}

void DBusMenu::registerEvents() {
  object_->registerMethod("Event")
      .onInterface(menuInterface)
      .implementedAs([this](Identifier line, const std::string& name, const sdbus::Variant&, std::uint32_t) {
        requireLine(line);
        handleEvent({.line = line, .name = name});
      });
  object_->registerMethod("EventGroup")
      .onInterface(menuInterface)
      .implementedAs([this](const std::vector<EventMessage>& events) {
        if (events.size() > static_cast<std::size_t>(tree_.size())) throw invalidArguments("More events than lines");
        Identifiers unknown;
        for (const EventMessage& event : events) {
          if (tree_.contains(event.get<0>())) {
            handleEvent({.line = event.get<0>(), .name = event.get<1>()});
          } else {
            unknown.push_back(event.get<0>());
          }
        }
        if (unknown.size() == events.size() && !events.empty()) throw invalidArguments("None of the lines is there");
        return unknown;
      });
  object_->registerMethod("AboutToShow").onInterface(menuInterface).implementedAs([this](Identifier line) {
    requireLine(line);
    aboutToShow(line);
    return false;  // what has changed was told before this answer
  });
  object_->registerMethod("AboutToShowGroup")
      .onInterface(menuInterface)
      .implementedAs([this](const Identifiers& lines) {
        const std::set<Identifier> wanted(lines.begin(), lines.end());
        Identifiers unknown;
        for (const Identifier line : wanted) {
          if (tree_.contains(line)) {
            aboutToShow(line);
          } else {
            unknown.push_back(line);
          }
        }
        return std::make_tuple(Identifiers(), unknown);
      });
}

void DBusMenu::registerProperties() {
  const auto constant = [this](const char* name, auto value) {
    object_->registerProperty(name).onInterface(menuInterface).withGetter([value] { return value; });
  };
  constant("Version", protocolVersion);
  constant("TextDirection", std::string("ltr"));
  constant("Status", std::string("normal"));
  constant("IconThemePath", std::vector<std::string>{surroundings_.iconThemePath});
  object_->registerSignal("ItemsPropertiesUpdated")
      .onInterface(menuInterface)
      .withParameters<std::vector<LineProperties>, std::vector<sdbus::Struct<Identifier, MenuTree::Names>>>();
  object_->registerSignal("LayoutUpdated").onInterface(menuInterface).withParameters<std::uint32_t, Identifier>();
}

void DBusMenu::requireLine(Identifier line) {
  wasHeard_ = true;
  if (!tree_.contains(line)) throw invalidArguments("There is no such line");
}

void DBusMenu::handleEvent(const Event& event) {
  if (event.name == "clicked") {
    choose(event.line);
    if (state_ == State::Announced) close();  // a choice takes the menu away
    return;
  }
  if (event.line != MenuTree::root) return;
  if (event.name == "opened") return opened();
  if (event.name == "closed") close();
}

/// Later, when the host has its answer: the action may end all this.
void DBusMenu::choose(Identifier line) {
  if (const auto item = tree_.choosable(line)) {
    surroundings_.queue->async([item] { item->action(*item); });
  }
}

void DBusMenu::aboutToShow(Identifier line) {
  if (line != MenuTree::root) return;
  // A host may announce what it has opened already.
  if (state_ != State::Open && !silence_) closeAfterSilence();
  open(state_ == State::Open ? State::Open : State::Announced);
  tellChanges();
}

void DBusMenu::opened() {
  if (state_ == State::Announced) {
    state_ = State::Open;
  } else {
    open(State::Open);
  }
  silence_.reset();
  closeWithHost(object_->getCurrentlyProcessedMessage()->getSender());
}

/// Again if it is open already: what it shows at its opening is brought up to date.
void DBusMenu::open(State state) {
  if (std::exchange(state_, state) != State::Closed) surroundings_.handlers.didClose();
  surroundings_.handlers.willOpen();
}

void DBusMenu::close() {
  hostWatch_.reset();
  silence_.reset();
  if (std::exchange(state_, State::Closed) != State::Closed) surroundings_.handlers.didClose();
}

void DBusMenu::closeWithHost(const std::string& host) {
  hostWatch_ = watchOwner(surroundings_.connection->bus(), host, [this](const std::string&) {
    // Not from within the callback that closing does away with.
    surroundings_.queue->async([weak = weak_from_this()] {
      if (const auto self = weak.lock()) self->close();
    });
  });
}

void DBusMenu::closeAfterSilence() {
  silence_ = Timer::repeating(surroundings_.queue, silentSeconds, [weak = weak_from_this()] {
    const auto self = weak.lock();
    if (self && !std::exchange(self->wasHeard_, false)) self->close();
  });
}

void DBusMenu::lineChanged(const MenuItem& line) {
  const auto identifier = tree_.identifier(line);
  if (!identifier) return;
  const bool isFirst = changed_.empty();
  changed_.insert(*identifier);
  if (!isFirst) return;
  surroundings_.queue->async([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->tellChanges();
  });
}

void DBusMenu::tellChanges() {
  if (changed_.empty()) return;
  std::vector<LineProperties> updated;
  std::vector<sdbus::Struct<Identifier, MenuTree::Names>> removed;
  for (const Identifier line : std::exchange(changed_, {})) {
    updated.emplace_back(line, tree_.properties(line, {}));
    if (auto absent = tree_.absentProperties(line); !absent.empty()) removed.emplace_back(line, std::move(absent));
  }
  try {
    object_->emitSignal("ItemsPropertiesUpdated").onInterface(menuInterface).withArguments(updated, removed);
    surroundings_.connection->update();
  } catch (const sdbus::Error&) {
    // The bus is gone, which the connection's owner is about to hear.
  }
}

}  // namespace tandemview
