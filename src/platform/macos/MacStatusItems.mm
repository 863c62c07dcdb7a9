#import "platform/macos/MacStatusItems.h"

#import "platform/macos/FoundationString.h"

/// Receives what the user does with the menu. A menu item's represented object is its line's address.
@interface TandemviewMenuTarget : NSObject <NSMenuDelegate>
- (instancetype)initWithHandlers:(tandemview::StatusItemSystem::MenuHandlers)handlers;
- (void)choose:(NSMenuItem*)sender;
@end

@implementation TandemviewMenuTarget {
  tandemview::StatusItemSystem::MenuHandlers _handlers;
}

- (instancetype)initWithHandlers:(tandemview::StatusItemSystem::MenuHandlers)handlers {
  self = [super init];
  if (self) _handlers = std::move(handlers);
  return self;
}

- (void)menuWillOpen:(NSMenu*)menu {
  _handlers.willOpen();
}

- (void)menuDidClose:(NSMenu*)menu {
  _handlers.didClose();
}

- (void)choose:(NSMenuItem*)sender {
  const auto* line = static_cast<const tandemview::MenuItem*>([sender.representedObject pointerValue]);
  line->action(*line);
}

@end

namespace tandemview {

namespace {

NSImage* imageOf(std::string_view symbol) {
  return [NSImage imageWithSystemSymbolName:foundationString(symbol) accessibilityDescription:nil];
}

NSImage* imageOf(const MenuSymbol& symbol) {
  if (symbol.name.empty()) return nil;
  NSImageSymbolConfiguration* size = [NSImageSymbolConfiguration configurationWithPointSize:symbol.pointSize
                                                                                     weight:NSFontWeightRegular];
  return [imageOf(symbol.name) imageWithSymbolConfiguration:size];
}

NSColor* colorOf(TextColor color) {
  switch (color) {
    case TextColor::Label:
      return NSColor.labelColor;
    case TextColor::SecondaryLabel:
      return NSColor.secondaryLabelColor;
    case TextColor::Green:
      return NSColor.systemGreenColor;
  }
  return NSColor.labelColor;
}

NSAttributedString* attributed(const std::vector<StyledText>& pieces) {
  NSMutableAttributedString* text = [[NSMutableAttributedString alloc] init];
  for (const StyledText& piece : pieces) {
    NSDictionary* attributes = @{
      NSFontAttributeName : [NSFont systemFontOfSize:piece.pointSize],
      NSForegroundColorAttributeName : colorOf(piece.color)
    };
    [text appendAttributedString:[[NSAttributedString alloc] initWithString:foundationString(piece.text)
                                                                 attributes:attributes]];
  }
  return text;
}

/// What may change while the menu exists.
void update(NSMenuItem* shown, const MenuItem& line) {
  shown.title = foundationString(line.title);
  shown.image = imageOf(line.symbol);
  shown.toolTip = line.toolTip.empty() ? nil : foundationString(line.toolTip);
  shown.hidden = line.isHidden;
  shown.state = line.isChecked ? NSControlStateValueOn : NSControlStateValueOff;
}

}  // namespace

void MacStatusItems::becomeAccessory() {
  [NSApp setActivationPolicy:NSApplicationActivationPolicyAccessory];
}

void MacStatusItems::install(std::shared_ptr<const StatusItem> item, MenuHandlers handlers) {
  item_ = std::move(item);
  target_ = [[TandemviewMenuTarget alloc] initWithHandlers:std::move(handlers)];
  statusItem_ = [NSStatusBar.systemStatusBar statusItemWithLength:NSVariableStatusItemLength];
  statusItem_.button.imagePosition = NSImageLeading;
  itemChanged();
  NSMenu* menu = makeMenu(item_->menu);
  menu.delegate = target_;
  statusItem_.menu = menu;
}

void MacStatusItems::itemChanged() {
  if (!item_) return;
  NSStatusBarButton* button = statusItem_.button;
  button.image = imageOf(item_->symbol);
  button.attributedTitle = attributed(item_->title);
  button.toolTip = foundationString(item_->toolTip);
}

void MacStatusItems::lineChanged(const MenuItem& line) {
  const auto found = lines_.find(&line);
  if (found != lines_.end()) update(found->second, line);
}

NSMenu* MacStatusItems::makeMenu(const std::vector<std::shared_ptr<MenuItem>>& lines) {
  NSMenu* menu = [[NSMenu alloc] init];
  for (const auto& line : lines) [menu addItem:makeLine(*line)];
  return menu;
}

NSMenuItem* MacStatusItems::makeLine(const MenuItem& line) {
  if (line.kind == MenuItem::Kind::Separator) return NSMenuItem.separatorItem;
  if (line.kind == MenuItem::Kind::SectionHeader) {
    return [NSMenuItem sectionHeaderWithTitle:foundationString(line.title)];
  }
  NSMenuItem* shown = [[NSMenuItem alloc] initWithTitle:@""
                                                 action:line.action ? @selector(choose:) : nil
                                          keyEquivalent:foundationString(line.keyEquivalent)];
  shown.target = line.action ? target_ : nil;
  shown.representedObject = [NSValue valueWithPointer:&line];
  if (!line.submenu.empty()) shown.submenu = makeMenu(line.submenu);
  update(shown, line);
  lines_[&line] = shown;
  return shown;
}

}  // namespace tandemview
