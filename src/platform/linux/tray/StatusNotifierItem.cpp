#include "platform/linux/tray/StatusNotifierItem.h"

#include <sdbus-c++/sdbus-c++.h>

#include <chrono>
#include <utility>

#include "platform/linux/bus/BusService.h"
#include "platform/linux/tray/SymbolIcons.h"
#include "runtime/Log.h"
#include "runtime/Weakly.h"

namespace tandemview {

namespace {

constexpr double retrySeconds = 10;

/// How long a tray may be missing: at login it starts side by side with us, and a panel may start anew.
constexpr double trayPatienceSeconds = 10;

constexpr const char* itemPath = "/StatusNotifierItem";
constexpr const char* menuPath = "/StatusNotifierItem/Menu";
constexpr const char* itemInterface = "org.kde.StatusNotifierItem";

constexpr BusService::Place watcherPlace = {.name = "org.kde.StatusNotifierWatcher",
                                            .path = "/StatusNotifierWatcher",
                                            .interface = "org.kde.StatusNotifierWatcher"};

/// Width, height and ARGB32 pixels in network byte order.
using Pixmap = sdbus::Struct<std::int32_t, std::int32_t, std::vector<std::uint8_t>>;
using Pixmaps = std::vector<Pixmap>;

/// Icon name, pixmaps, title, text.
using ToolTip = sdbus::Struct<std::string, Pixmaps, std::string, std::string>;

bool isMissing(const sdbus::Error& error) {
  return error.getName() == "org.freedesktop.DBus.Error.ServiceUnknown";
}

}  // namespace

StatusNotifierItem::StatusNotifierItem(std::shared_ptr<Queue> mainQueue, std::string iconDirectory,
                                       std::shared_ptr<StatusNotification> notification)
    : mainQueue_(std::move(mainQueue)),
      iconDirectory_(std::move(iconDirectory)),
      notification_(std::move(notification)) {}

StatusNotifierItem::~StatusNotifierItem() = default;

void StatusNotifierItem::install(std::shared_ptr<const StatusItem> item, MenuHandlers handlers) {
  item_ = std::move(item);
  handlers_ = std::move(handlers);
  connect();
}

void StatusNotifierItem::connect() {
  BusConnection::open(BusConnection::Bus::Session, mainQueue_, weakly(this, &StatusNotifierItem::connected));
}

void StatusNotifierItem::connected(BusConnection::Opened opened) {
  if (!opened) return connectLater(opened.error().localizedDescription());
  const auto weak = weak_from_this();
  connection_ = BusConnection::serving(*opened, mainQueue_, [weak] {
    if (const auto self = weak.lock()) self->connectLater("the session bus is gone");
  });
  try {
    menu_ = DBusMenu::serving(
        {.queue = mainQueue_, .connection = connection_, .iconThemePath = iconDirectory_, .handlers = handlers_},
        menuPath, item_->menu);
    registerObject();
    watcher_ = std::make_unique<BusService>(*connection_, watcherPlace, [weak](bool isThere) {
      const auto self = weak.lock();
      if (!self) return;
      if (!isThere) return self->trayIsGone("the desktop's tray has ended");
      self->registerWithTray();
    });
    for (const char* signal : {"StatusNotifierHostRegistered", "StatusNotifierHostUnregistered"}) {
      watcher_->uponSignal(signal, [weak](sdbus::Message&) {
        if (const auto self = weak.lock()) self->askForHost();
      });
    }
    registerWithTray();
  } catch (const sdbus::Error& error) {
    connectLater(error.getMessage());
  }
}

void StatusNotifierItem::connectLater(const std::string& reason) {
  watcher_.reset();
  object_.reset();
  menu_.reset();
  connection_.reset();
  trayIsGone(reason);
  mainQueue_->after(retrySeconds, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->connect();
  });
}

/// Without the methods for clicks: hosts that miss them open the menu, as for any item of a menu alone.
void StatusNotifierItem::registerObject() {
  object_ = sdbus::createObject(connection_->bus(), itemPath);
  const auto property = [this](const char* name, auto getter) {
    object_->registerProperty(name).onInterface(itemInterface).withGetter(std::move(getter));
  };
  const auto text = [property](const char* name, const std::string& value) {
    property(name, [value] { return value; });
  };
  text("Category", "ApplicationStatus");
  text("Id", "tandemview");
  text("Status", "Active");
  // Just the directory with the item's own icons: some hosts look there without the desktop's themes, and without a
  // theme's index only what lies in the directory itself is found.
  text("IconThemePath", iconDirectory_ + "/hicolor/symbolic/apps");
  text("OverlayIconName", "");
  text("AttentionIconName", "");
  text("XAyatanaLabelGuide", "");
  property("WindowId", [] { return std::int32_t(0); });
  property("ItemIsMenu", [] { return true; });
  property("Menu", [] { return sdbus::ObjectPath(menuPath); });
  property("IconName", [this] { return iconName(); });
  property("IconPixmap", [] { return Pixmaps(); });
  property("Title", [this] { return plainTitle(); });
  property("XAyatanaLabel", [this] { return plainTitle(); });
  property("ToolTip", [this] { return ToolTip(std::string(), Pixmaps(), item_->toolTip, std::string()); });
  for (const char* signal : {"NewTitle", "NewIcon", "NewToolTip"}) {
    object_->registerSignal(signal).onInterface(itemInterface);
  }
  object_->registerSignal("XAyatanaNewLabel").onInterface(itemInterface).withParameters<std::string, std::string>();
  object_->finishRegistration();
}

void StatusNotifierItem::registerWithTray() {
  try {
    watcher_->object()
        .callMethodAsync("RegisterStatusNotifierItem")
        .onInterface(watcherPlace.interface)
        .withTimeout(std::chrono::seconds(BusConnection::timeoutSeconds))
        .withArguments(std::string(itemPath))
        .uponReplyInvoke([weak = weak_from_this()](const sdbus::Error* error) {
          const auto self = weak.lock();
          if (!self) return;
          if (error) return self->trayIsGone(isMissing(*error) ? "none is running" : error->getMessage());
          self->askForHost();
        });
    connection_->update();
  } catch (const sdbus::Error& error) {
    trayIsGone(error.getMessage());
  }
}

/// The watcher only keeps the list of items: whether anybody draws them is another question. One that doesn't know it
/// is a simple tray's own.
void StatusNotifierItem::askForHost() {
  try {
    watcher_->object()
        .callMethodAsync("Get")
        .onInterface("org.freedesktop.DBus.Properties")
        .withTimeout(std::chrono::seconds(BusConnection::timeoutSeconds))
        .withArguments(std::string(watcherPlace.interface), std::string("IsStatusNotifierHostRegistered"))
        .uponReplyInvoke([weak = weak_from_this()](const sdbus::Error* error, const sdbus::Variant& answer) {
          const auto self = weak.lock();
          if (!self) return;
          const bool isRefused = !error && answer.containsValueOfType<bool>() && !answer.get<bool>();
          if (isRefused) return self->trayIsGone("nothing draws what is registered");
          self->trayIsThere();
        });
    connection_->update();
  } catch (const sdbus::Error& error) {
    trayIsGone(error.getMessage());
  }
}

void StatusNotifierItem::trayIsThere() {
  if (std::exchange(isMissing_, false)) Log::line("✅ The menu is shown");
  isNotified_ = false;
  notification_->withdraw();
}

void StatusNotifierItem::trayIsGone(const std::string& reason) {
  if (!std::exchange(isMissing_, true)) {
    Log::print("⚠️ The menu is not shown before the desktop has a tray for it: {}", reason);
  }
  if (!connection_ || std::exchange(isNotified_, true)) return;
  mainQueue_->after(trayPatienceSeconds, [weak = weak_from_this()] {
    const auto self = weak.lock();
    if (self && self->connection_) self->showAgain();
  });
}

void StatusNotifierItem::showAgain() {
  if (item_ && isMissing_) notification_->show(*item_);
}

void StatusNotifierItem::itemChanged() {
  if (!object_ || std::exchange(hasChanged_, true)) return;
  mainQueue_->async([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->tellChanges();
  });
}

void StatusNotifierItem::tellChanges() {
  hasChanged_ = false;
  if (!object_) return;
  try {
    for (const char* signal : {"NewTitle", "NewIcon", "NewToolTip"}) {
      object_->emitSignal(signal).onInterface(itemInterface);
    }
    object_->emitSignal("XAyatanaNewLabel").onInterface(itemInterface).withArguments(plainTitle(), std::string());
    connection_->update();
  } catch (const sdbus::Error&) {
    // The bus is gone, which onLost is about to tell.
  }
}

void StatusNotifierItem::lineChanged(const MenuItem& line) {
  if (menu_) menu_->lineChanged(line);
}

std::string StatusNotifierItem::iconName() const {
  const std::string icon = iconForSymbol(item_->symbol);
  return item_->isConnected && icon == "tandemview-symbolic" ? "tandemview-connected-symbolic" : icon;
}

/// Without the marks that are smaller than the text: they speak by their colour, and hosts show none.
std::string StatusNotifierItem::plainTitle() const {
  std::string title;
  for (const StyledText& part : item_->title) {
    if (part.pointSize >= StyledText().pointSize) title += part.text;
  }
  return title;
}

}  // namespace tandemview
