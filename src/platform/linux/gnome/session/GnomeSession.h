#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/gnome/session/DisplayStream.h"
#include "platform/linux/gnome/session/GnomeLayout.h"
#include "platform/linux/gnome/session/GnomePictureReceiver.h"
#include "platform/linux/gnome/session/GnomeRemoteDesktop.h"
#include "platform/linux/gnome/session/MutterCast.h"
#include "platform/linux/gnome/session/MutterDisplayConfig.h"
#include "platform/linux/gnome/session/ScreenLock.h"
#include "platform/linux/places/PlaceMemory.h"
#include "runtime/MediaClock.h"
#include "runtime/SerialQueue.h"
#include "runtime/UserDefaults.h"

namespace tandemview {

/// What the ports of a GNOME session share: its bus, its monitors, our display with its stream, and the way to its
/// input. It works on a queue of its own, so that whoever waits for it waits for no other work. Operations may be
/// called from any other thread.
class GnomeSession {
 public:
  /// A longer side could be more than the graphics take, which ends the user's desktop.
  static constexpr std::int64_t longestSide = 8192;

  /// Waits until the session's bus has been reached, or not. Where the user puts the display is kept in `settings`, if
  /// there are any.
  static std::shared_ptr<GnomeSession> open(std::shared_ptr<UserDefaults> settings = nullptr);

  /// Takes the display away. Not on the queue.
  ~GnomeSession();

  /// Calls `changed` on `queue` after the arrangement has changed or our display is no longer withheld, and `ended`
  /// when the bus has gone, once. Called once each.
  void onArrangementChange(std::shared_ptr<Queue> queue, Work changed);
  void onEnd(std::shared_ptr<Queue> queue, Work ended);

  /// Whether the compositor is there that makes displays. It may still refuse to, while the screen is locked.
  bool isOffered() const;

  /// The arrangement as it is.
  GnomeLayout layout() const;

  /// Our display, while the session shows it.
  std::optional<DisplayID> display() const;

  /// Whether our display comes by itself when the screen is unlocked, as the lock has taken or refused it.
  bool isWithheld() const;

  /// Shows our display in that size, or brings it to it. Waits for that; but not for long if it is there already: then
  /// it may still be on its way, and asking again does no harm. True as well if it is withheld. False: refused.
  bool show(const PixelSize& size);

  /// Takes our display away, and waits until it is gone.
  void hide();

  /// Moves a display, in relation to the main screen's corner. False: refused, or it is not there.
  bool move(DisplayID display, std::int32_t x, std::int32_t y);

  /// Our display's pictures go to the receiver from now on, and no longer to the one before.
  void sendPicturesTo(std::weak_ptr<GnomePictureReceiver> receiver);

  /// And no longer to this one, if it still gets them. Without a receiver the compositor draws no pictures for us.
  void sendNoPicturesTo(std::weak_ptr<GnomePictureReceiver> receiver);

  const std::shared_ptr<GnomeRemoteDesktop>& remoteDesktop() const { return remoteDesktop_; }

 private:
  using Answer = std::function<void(bool)>;
  struct Listener {
    std::shared_ptr<Queue> queue;
    Work work;

    void tell() const {
      if (queue) queue->async(work);
    }
  };

  explicit GnomeSession(std::shared_ptr<UserDefaults> settings);

  void start(const std::shared_ptr<sdbus::IConnection>& bus);
  std::optional<bool> ask(double patience, std::function<void(Answer)> request);
  void soon(std::function<void()> step);

  void beginShow(const PixelSize& size, const Answer& answer);
  void create();
  void withhold();
  std::shared_ptr<DisplayStream> makeStream();
  enum class Cause { Failure, Lock, User };
  void closed();
  void endSoon(Cause cause, const std::string& why);
  void end(Cause cause, const std::string& why);
  void remove(const Error& why);
  void lockChanged(bool isLocked);
  void bringBack();
  void tellWhetherWithheld();
  void compositorChanged(bool isThere);
  void look();
  bool hasArrived(const GnomeLayout& layout);
  GnomeLayout arrange(GnomeLayout layout);
  bool isRowAgain(const GnomeLayout& layout) const;
  void settle(const GnomeLayout& layout);
  void answer(bool succeeded);
  void publish(const GnomeLayout& layout);

  const std::shared_ptr<SerialQueue> queue_;
  const std::shared_ptr<GnomeRemoteDesktop> remoteDesktop_;
  const SystemMediaClock clock_;

  // On the queue alone.
  std::shared_ptr<BusConnection> bus_;
  std::unique_ptr<MutterDisplayConfig> config_;
  std::unique_ptr<MutterCast> cast_;
  std::unique_ptr<ScreenLock> lock_;
  bool isLocked_ = false;
  PixelSize withheldSize_;                 // of our display, which the lock has taken or refused; 0 without one
  bool isComingBack_ = false;              // after the unlocking
  std::string ending_;                     // why it is about to end
  std::shared_ptr<DisplayStream> stream_;  // beside the cast
  std::uint64_t run_ = 0;                  // the sessions' number: what belongs to an earlier one does nothing
  PixelSize size_;                         // that our display is to have; 0 without one
  std::optional<DisplayID> ours_;
  std::vector<GnomeLayout::Screen> undone_;  // the row that the compositor made of the screens last
  double undoneUntil_ = 0;                   // it may come again until then
  GnomeLayout settled_;                      // as it was when nothing of ours was under way
  bool isChanging_ = false;                  // a change of ours is under way
  std::vector<Answer> asked_;                // who waits for it
  PlaceMemory places_;

  mutable std::mutex mutex_;  // guards what follows
  GnomeLayout layout_;
  std::optional<DisplayID> display_;
  bool isOffered_ = false;
  bool isWithheld_ = false;
  Listener arrangementChanged_;
  Listener ended_;
};

}  // namespace tandemview
