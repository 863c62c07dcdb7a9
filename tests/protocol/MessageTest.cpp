#include "protocol/Message.h"

#include <gtest/gtest.h>

namespace tandemview::MacProtocol {
namespace {

TEST(DeviceInfoTest, DecodesWhatIsValidAndDropsTheRest) {
  const DeviceInfo plain = {.width = 393, .height = 852, .scale = 3};
  const DeviceInfo full = {
      .width = 1290, .height = 2796, .scale = 2.5, .quality = "high", .orientation = "Landscape", .idiom = "phone"};
  const struct {
    const char* payload;
    DeviceInfo expected;
  } cases[] = {
      {R"({"width":393,"height":852,"scale":3})", plain},
      {R"({"width":393.0,"height":8.52e2,"scale":3.0,"extra":[1]})", plain},
      {R"({"width":393,"height":852,"scale":3,"quality":1,"orientation":null,"idiom":{}})", plain},
      {R"({"width":1290,"height":2796,"scale":2.5,"quality":"high","orientation":"Landscape","idiom":"phone"})", full},
  };
  for (const auto& each : cases)
    EXPECT_EQ(decodeDeviceInfo(Data::copying(each.payload)), each.expected) << each.payload;
  for (const char* payload :
       {R"({"width":"393","height":852,"scale":3})", R"({"width":390.5,"height":852,"scale":3})",
        R"({"width":true,"height":852,"scale":3})", R"({"width":9223372036854775808,"height":852,"scale":3})",
        R"({"width":1e300,"height":852,"scale":3})", R"({"width":1e999,"height":852,"scale":3})",
        R"({"width":393,"height":852})", R"([393,852,3])", "",
        "{\"width\":393,\"height\":852,\"scale\":3,\"quality\":\"\xff\"}"}) {
    EXPECT_FALSE(decodeDeviceInfo(Data::copying(payload))) << payload;
  }
}

TEST(ClassifierTest, TellsMessagesApartByContent) {
  const struct {
    std::string payload;
    MessageKind expected;
  } cases[] = {
      {"12345678", MessageKind::ping},
      {"1234567", MessageKind::unrecognized},
      {R"({"a":"123456"})"
       "  ",
       MessageKind::pong},
      {R"({"width":1,"height":2,"scale":3,"kind":"key"})", MessageKind::deviceInfo},
      {R"({"width":1,"height":2})", MessageKind::invalidDeviceInfo},
      {R"({"kind":"key","type":"t","x":1,"y":2})", MessageKind::keyEvent},
      {R"({"kind":"keys","type":null,"x":"","y":[]})", MessageKind::touchEvent},
      {R"({"type":"began","x":1,"z":2})", MessageKind::unrecognized},
      {R"({"width":1,"depth":2,"scale":3})", MessageKind::unrecognized},
      {R"(["width","height"])", MessageKind::unrecognized},
      {std::string(200'000, '['), MessageKind::unrecognized},
      {R"({"type":1,"x":1,"y":")" + std::string(longestMessage, 'y') + "\"}", MessageKind::unrecognized},
  };
  for (const auto& each : cases) {
    const ClassifiedMessage message = classify(Data::copying(each.payload));
    EXPECT_EQ(message.kind, each.expected) << each.payload.substr(0, 60);
    EXPECT_EQ(message.deviceInfo.has_value(), each.expected == MessageKind::deviceInfo);
  }
}

}  // namespace
}  // namespace tandemview::MacProtocol
