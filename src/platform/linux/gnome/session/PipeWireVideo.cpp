#include "platform/linux/gnome/session/PipeWireVideo.h"

#include <pipewire/pipewire.h>
#include <spa/param/video/format-utils.h>

#include <array>
#include <cerrno>
#include <optional>
#include <utility>

namespace tandemview {

namespace {

/// While one is copied and others are under way the source draws on. With none left it would drop a picture, perhaps
/// the last one before a rest.
constexpr int wantedBuffers = 8;
constexpr int mostBuffers = 16;
constexpr int leastBuffers = 2;

/// For a format or the parameters of a buffer.
using ParameterSpace = std::array<std::uint8_t, 1024>;

const spa_pod* videoFormat(spa_pod_builder& builder, const PixelSize& pixelSize, std::uint32_t mostPerSecond) {
  const spa_rectangle size = {.width = static_cast<std::uint32_t>(pixelSize.width),
                              .height = static_cast<std::uint32_t>(pixelSize.height)};
  const spa_fraction whenDrawn = {.num = 0, .denom = 1};
  const spa_fraction most = {.num = mostPerSecond, .denom = 1};
  return static_cast<const spa_pod*>(spa_pod_builder_add_object(
      &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video),
      SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw), SPA_FORMAT_VIDEO_format,
      SPA_POD_Id(SPA_VIDEO_FORMAT_BGRx), SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&size), SPA_FORMAT_VIDEO_framerate,
      SPA_POD_Fraction(&whenDrawn), SPA_FORMAT_VIDEO_maxFramerate, SPA_POD_Fraction(&most)));
}

}  // namespace

struct PipeWireVideo::Link {
  explicit Link(Events handlers) : events(std::move(handlers)) {}
  ~Link();

  bool open(const std::shared_ptr<Queue>& queue);
  void wait();
  void followStream();
  void setActive(bool isActive);
  void stop();
  void propose();
  void readFormat(const spa_pod* format);
  void readPictures();
  void letGo();
  std::optional<PicturePixels> picture() const;

  static Link& of(void* link) { return *static_cast<Link*>(link); }

  Events events;
  pw_loop* loop = nullptr;
  pw_context* context = nullptr;
  pw_core* core = nullptr;
  pw_stream* stream = nullptr;
  spa_hook coreHook{};
  spa_hook streamHook{};
  std::unique_ptr<DescriptorWatch> watch;
  PixelSize size;
  std::uint32_t rate = 0;
  bool hasNewFormat = false;  // since the last proposal
  int buffers = 0;
  int emptyBuffers = 0;  // of these
  PixelSize wantedSize;
  std::uint32_t wantedRate = 0;
  bool isNegotiating = false;
  bool isStopping = false;      // for that
  pw_buffer* newest = nullptr;  // ours until the next comes
  bool hasEnded = false;
};

PipeWireVideo::Link::~Link() {
  hasEnded = true;  // on purpose
  watch = nullptr;
  if (stream) pw_stream_destroy(stream);
  if (core) pw_core_disconnect(core);
  if (context) pw_context_destroy(context);
  if (!loop) return;
  pw_loop_leave(loop);
  pw_loop_destroy(loop);
}

/// False with errno.
bool PipeWireVideo::Link::open(const std::shared_ptr<Queue>& queue) {
  static const bool isInitialized = [] {
    pw_init(nullptr, nullptr);
    return true;
  }();
  static_cast<void>(isInitialized);
  loop = pw_loop_new(nullptr);
  if (!loop) return false;
  pw_loop_enter(loop);
  context = pw_context_new(loop, nullptr, 0);
  core = context ? pw_context_connect(context, nullptr, 0) : nullptr;
  if (!core) return false;
  static const pw_core_events coreEvents = {
      .version = PW_VERSION_CORE_EVENTS, .error = [](void* link, std::uint32_t id, int, int code, const char* message) {
        if (id == PW_ID_CORE && code == -EPIPE)
          of(link).events.disconnected(message ? message : "the connection has ended");
      }};
  pw_core_add_listener(core, &coreHook, &coreEvents, this);
  auto watched = queue->watch(pw_loop_get_fd(loop));
  if (!watched) return false;
  watch = std::move(*watched);
  wait();
  return true;
}

void PipeWireVideo::Link::wait() {
  watch->whenReadable([this] {  // the watch ends with the link
    pw_loop_iterate(loop, 0);
    wait();
    followStream();
  });
}

void PipeWireVideo::Link::followStream() {
  if (!isNegotiating) return;
  const pw_stream_state state = pw_stream_get_state(stream, nullptr);
  if (isStopping && state == PW_STREAM_STATE_PAUSED) {
    isStopping = false;
    propose();
    setActive(true);
  }
  if (isStopping || !hasNewFormat || buffers == 0 || state != PW_STREAM_STATE_STREAMING) return;
  isNegotiating = false;
  events.done();
}

void PipeWireVideo::Link::readFormat(const spa_pod* format) {
  spa_video_info_raw info{};
  if (spa_format_video_raw_parse(format, &info) < 0) return;
  size = {.width = info.size.width, .height = info.size.height};
  rate = info.max_framerate.num;
  hasNewFormat = true;
  ParameterSpace space;
  spa_pod_builder builder = SPA_POD_BUILDER_INIT(space.data(), space.size());
  std::array parameters = {static_cast<const spa_pod*>(spa_pod_builder_add_object(
      &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
      SPA_POD_CHOICE_RANGE_Int(wantedBuffers, leastBuffers, mostBuffers), SPA_PARAM_BUFFERS_dataType,
      SPA_POD_CHOICE_FLAGS_Int((1 << SPA_DATA_MemFd) | (1 << SPA_DATA_MemPtr))))};
  pw_stream_update_params(stream, parameters.data(), parameters.size());
}

/// Each picture is whole, so that the newest says all. It is kept: the source has others to go on with.
void PipeWireVideo::Link::readPictures() {
  pw_buffer* const before = newest;
  while (pw_buffer* const buffer = pw_stream_dequeue_buffer(stream)) {
    const spa_data& data = buffer->buffer->datas[0];
    const bool isPicture = data.data && data.chunk->size > 0 && (data.chunk->flags & SPA_CHUNK_FLAG_CORRUPTED) == 0;
    pw_buffer* const done = isPicture ? std::exchange(newest, buffer) : buffer;
    if (done) pw_stream_queue_buffer(stream, done);
  }
  if (newest == before) return;
  if (const auto pixels = picture()) events.arrived(*pixels);
}

void PipeWireVideo::Link::letGo() {
  if (pw_buffer* const buffer = std::exchange(newest, nullptr)) pw_stream_queue_buffer(stream, buffer);
}

std::optional<PicturePixels> PipeWireVideo::Link::picture() const {
  if (!newest) return std::nullopt;
  const spa_data& data = newest->buffer->datas[0];
  const std::size_t rows = static_cast<std::size_t>(size.height);
  const auto bytesPerRow = static_cast<std::size_t>(data.chunk->stride);
  const bool fits = bytesPerRow >= static_cast<std::size_t>(size.width) * 4 && data.chunk->offset <= data.maxsize &&
                    bytesPerRow * rows <= data.maxsize - data.chunk->offset;
  if (!fits) return std::nullopt;
  return PicturePixels{.bytes = static_cast<std::byte*>(data.data) + data.chunk->offset,
                       .width = static_cast<std::int32_t>(size.width),
                       .height = static_cast<std::int32_t>(size.height),
                       .bytesPerRow = bytesPerRow};
}

Result<std::unique_ptr<PipeWireVideo>> PipeWireVideo::open(const std::shared_ptr<Queue>& queue, Events events) {
  auto link = std::make_unique<Link>(std::move(events));
  if (!link->open(queue)) return tl::unexpected(posixError(errno));
  return std::unique_ptr<PipeWireVideo>(new PipeWireVideo(std::move(link)));
}

PipeWireVideo::PipeWireVideo(std::unique_ptr<Link> link) : link_(std::move(link)) {}

PipeWireVideo::~PipeWireVideo() = default;

bool PipeWireVideo::connect(std::uint32_t node, const PixelSize& size, std::uint32_t mostPerSecond) {
  static const pw_stream_events streamEvents = {
      .version = PW_VERSION_STREAM_EVENTS,
      .state_changed =
          [](void* link, pw_stream_state before, pw_stream_state state, const char*) {
            const bool hasFailed = state == PW_STREAM_STATE_ERROR ||
                                   (state == PW_STREAM_STATE_UNCONNECTED && before != PW_STREAM_STATE_UNCONNECTED);
            if (hasFailed && !std::exchange(Link::of(link).hasEnded, true)) Link::of(link).events.ended();
          },
      .param_changed =
          [](void* link, std::uint32_t id, const spa_pod* parameter) {
            if (id == SPA_PARAM_Format && parameter) Link::of(link).readFormat(parameter);
          },
      .add_buffer =
          [](void* link, pw_buffer* buffer) {
            ++Link::of(link).buffers;
            if (!buffer->buffer->datas[0].data) ++Link::of(link).emptyBuffers;
          },
      .remove_buffer =
          [](void* link, pw_buffer* buffer) {
            if (--Link::of(link).buffers == 0) Link::of(link).emptyBuffers = 0;
            if (Link::of(link).newest == buffer) Link::of(link).newest = nullptr;
          },
      .process = [](void* link) { Link::of(link).readPictures(); }};
  link_->stream = pw_stream_new(
      link_->core, "tandemview",
      pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_MEDIA_ROLE, "Screen",
                        // Else it would be given the next best camera when our source has gone.
                        PW_KEY_NODE_DONT_RECONNECT, "true", nullptr));
  if (!link_->stream) return false;
  pw_stream_add_listener(link_->stream, &link_->streamHook, &streamEvents, link_.get());
  link_->isNegotiating = true;
  ParameterSpace space;
  spa_pod_builder builder = SPA_POD_BUILDER_INIT(space.data(), space.size());
  std::array parameters = {videoFormat(builder, size, mostPerSecond)};
  constexpr auto flags = static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS);
  return pw_stream_connect(link_->stream, PW_DIRECTION_INPUT, node, flags, parameters.data(), parameters.size()) >= 0;
}

bool PipeWireVideo::isBusy() const {
  return link_->isNegotiating;
}

PixelSize PipeWireVideo::size() const {
  return link_->size;
}

std::uint32_t PipeWireVideo::rate() const {
  return link_->rate;
}

std::optional<PicturePixels> PipeWireVideo::picture() const {
  if (pw_stream_get_state(link_->stream, nullptr) != PW_STREAM_STATE_STREAMING) return std::nullopt;
  return link_->picture();
}

bool PipeWireVideo::hasMemory() const {
  return link_->emptyBuffers == 0;
}

void PipeWireVideo::negotiate(const PixelSize& size, std::uint32_t mostPerSecond) {
  link_->wantedSize = size;
  link_->wantedRate = mostPerSecond;
  link_->isNegotiating = link_->isStopping = true;
  link_->stop();
  link_->followStream();
}

void PipeWireVideo::Link::propose() {
  hasNewFormat = false;
  ParameterSpace space;
  spa_pod_builder builder = SPA_POD_BUILDER_INIT(space.data(), space.size());
  std::array parameters = {videoFormat(builder, wantedSize, wantedRate)};
  pw_stream_update_params(stream, parameters.data(), parameters.size());
}

void PipeWireVideo::Link::setActive(bool isActive) {
  pw_stream_set_active(stream, isActive);
}

void PipeWireVideo::Link::stop() {
  letGo();
  setActive(false);
}

void PipeWireVideo::stop() {
  link_->stop();
}

bool PipeWireVideo::start() {
  if (pw_stream_get_state(link_->stream, nullptr) == PW_STREAM_STATE_STREAMING) return false;
  link_->setActive(true);
  return true;
}

}  // namespace tandemview
