#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/linux/gnome/session/GnomePictureReceiver.h"
#include "platform/linux/gnome/session/PictureFlow.h"
#include "platform/linux/gnome/session/PipeWireVideo.h"
#include "runtime/Queue.h"

namespace tandemview {

/// Our display's stream. It brings the source to the wanted size and then a picture of it to whoever wants pictures.
/// What is wanted is compared with what has been reached whenever something has happened, one step follows another, and
/// a step that leads to nothing is repeated, and then made with a new connection: whatever gets lost between the
/// compositor, PipeWire and us, a picture of the wanted size comes in the end. Made, used and destroyed on its queue.
class DisplayStream : public std::enable_shared_from_this<DisplayStream> {
 public:
  struct Events {
    /// hasSize() may be another.
    std::function<void()> changed;
    /// What the pictures do from now on.
    std::function<void(PictureFlow flow)> flowChanged;
    /// As PipeWireVideo tells it.
    std::function<void()> ended;
    std::function<void(const std::string& reason)> disconnected;
  };

  DisplayStream(std::shared_ptr<Queue> queue, const PixelSize& size, Events events)
      : queue_(std::move(queue)), events_(std::move(events)), size_(size) {}

  /// Receives this node of PipeWire's from now on. Called once.
  void connect(std::uint32_t node);

  void resize(const PixelSize& size);

  /// Whether the source makes pictures of the wanted size, and its monitor is of that size.
  bool hasSize() const;

  void sendTo(std::weak_ptr<GnomePictureReceiver> receiver);

  /// Without a receiver the compositor soon draws no pictures for us.
  void sendNoneTo(const std::weak_ptr<GnomePictureReceiver>& receiver);

  /// Nothing comes any more, of which the receiver is told. Not within an event.
  void end(const Error& why);

 private:
  void receive();
  void steer();
  void next(double seconds, void (DisplayStream::*step)());
  void expect();
  void insist();
  void rest();
  void negotiateRate();
  void take(const PicturePixels& picture);
  void interrupt();
  void setFlow(PictureFlow flow);

  const std::shared_ptr<Queue> queue_;
  const Events events_;
  PixelSize size_;
  std::uint32_t node_ = 0;
  std::weak_ptr<GnomePictureReceiver> receiver_;
  std::unique_ptr<PipeWireVideo> video_;
  PictureFlow flow_ = PictureFlow::None;
  std::uint64_t interruption_ = 0;  // the number of the last one
  bool isPictureDue_ = false;       // the receiver has none of the wanted size, or has missed some
  bool isPictureComing_ = false;    // the source sends one by itself
  int attempts_ = 0;                // that have led to nothing
  std::uint64_t step_ = 0;          // the number of the next one; those before it do nothing
};

}  // namespace tandemview
