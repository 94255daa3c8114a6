// Cameras and devices: their file, their tables, what plugins are told of them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "CameraDirectory.h"
#include "CameraFile.h"
#include "RealBackends.h"
#include "http/HostProcess.h"
#include "http/HttpClient.h"
#include "support/Eventually.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

using host::CameraList;
using testing::HasSubstr;

std::string Device(const std::string& members) { return R"({"Devices":[{)" + members + R"(}],"Elements":[]})"; }
std::string Element(const std::string& members) {
  return R"({"Devices":[{"ID":1,"Type":0,"Protocol":0,"Name":"d"}],"Elements":[{"ID":7,"Name":"e"},{)" + members +
         "}]}";
}

/// What reading a file of `text` gives, without the file's name.
std::string FaultOf(const std::string& text, CameraList& list) {
  const ScratchFolder folder;
  const auto file = folder.Write("cameras.json", text);
  const auto fault = host::ReadCameraFile(file, list);
  return fault.substr(fault.starts_with(file) ? file.size() : 0);
}

TEST(CameraFileTest, NamesThePlaceAndTheFault) {
  const std::string no_json = ": is no JSON, not UTF-8, or nested too deep";
  const std::string id_range = "ID must lie between 1 and 2147483647";
  const std::string name_rule = "Name must have 1 to 256 characters and no control character";
  const struct {
    std::string text;
    std::string fault;
  } kCases[] = {
      {"", ":1" + no_json},
      {"{\"Devices\":[],\n\n\"Elements\":[}", ":3" + no_json},
      {"{\"Devices\":[],\n\"Elements\":\"\xff\"}", ":2" + no_json},
      {Device("\n\"Name\":\"\\ud800\""), ":2" + no_json},
      {std::string("{}\n\0", 4), ":2" + no_json},
      {std::string(1 << 20, '['), ":1" + no_json},
      {std::string(host::kMaxCameraFile + 1, ' '), ": has more than 33554432 bytes"},
      {"[]", ": is no object"},
      {R"({"Devices":[]})", ": Elements is missing"},
      {R"({"Devices":{},"Elements":[]})", ": Devices is no list"},
      {R"({"Devices":[],"Elements":[],"Devices":[]})", ": Devices and Elements, each once, are the only keys"},
      {R"({"Devices":[3],"Elements":[]})", ": Devices, entry 1: is no object"},
      {Device(R"("ID":1,"Type":1,"Name":"d")"), ": Devices, entry 1: Protocol is missing"},
      {Device(R"("ID":1,"Type":"1","Protocol":1,"Name":"d")"), ": Devices, entry 1: Type is no whole number"},
      {Device(R"("ID":1,"Type":-1,"Protocol":1,"Name":"d")"),
       ": Devices, entry 1: Type must lie between 0 and 2147483647"},
      {Device(R"("ID":1,"Type":1,"Protocol":1.5,"Name":"d")"), ": Devices, entry 1: Protocol is no whole number"},
      {Device(R"("ID":1,"Type":1,"Protocol":1,"Name":null)"), ": Devices, entry 1: Name is no text"},
      {Element(R"("ID":0,"Name":"e")"), ": Elements, entry 2: " + id_range},
      {Element(R"("ID":2147483648,"Name":"e")"), ": Elements, entry 2: " + id_range},
      {Element(R"("ID":18446744073709551615,"Name":"e")"), ": Elements, entry 2: " + id_range},
      {Element(R"("ID":8,"Name":"")"), ": Elements, entry 2: " + name_rule},
      {Element(R"("ID":8,"Name":"a\u0000b")"), ": Elements, entry 2: " + name_rule},
      {Element(R"("ID":8,"Name":"a\nb")"), ": Elements, entry 2: " + name_rule},
      {Element(R"("ID":8,"Name":")" + std::string(257, 'x') + "\""), ": Elements, entry 2: " + name_rule},
      {Element(R"("ID":8,"ID":9,"Name":"e")"), ": Elements, entry 2: ID is repeated"},
      {Element(R"("ID":8,"Name":"e","DeviceId":1)"), ": Elements, entry 2: has an unknown key"},
      {Element(R"("ID":7,"Name":"e")"), ": Elements, entry 2: ID 7 is repeated"},
      {Element(R"("ID":8,"Name":"e","DeviceID":2)"), ": Elements, entry 2: there is no device 2"},
  };
  for (const auto& [text, fault] : kCases) {
    CameraList list;
    EXPECT_EQ(FaultOf(text, list), fault) << text.substr(0, 100);
    EXPECT_TRUE(list.devices.empty() && list.elements.empty()) << text.substr(0, 100);
  }
  CameraList list;
  EXPECT_EQ(host::ReadCameraFile("/nonexistent", list), "/nonexistent: cannot be read");
  EXPECT_EQ(host::ReadCameraFile("/tmp", list), "/tmp: cannot be read");
  std::string longest;
  for (std::size_t i = 0; i < host::kMaxCameraName; ++i)
    longest += "ж";
  EXPECT_EQ(FaultOf(Element(R"("ID":2147483647,"DeviceID":1,"Name":")" + longest + "\""), list), "");
  EXPECT_EQ(list.elements.at(1).name, longest);
}

class CameraDirectoryTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(manager_->Initialize(platform::kPlatformDbId, 2, 1, true)); }

  void Load(const CameraList& list) {
    EXPECT_EQ(host::ReplaceCameras(list), "");
    EXPECT_TRUE(directory_.Refresh());
  }

  /// "name device-id", and "device-name type protocol" of its device.
  std::string Camera(int id) {
    kelp::SElementBaseInfo camera;
    if (!directory_.GetElementInfo(camera, id, 0)) return "";
    const auto text = camera.element_name + " " + std::to_string(camera.element_device_id);
    if (!camera.device_base) return text;
    const auto& base = *camera.device_base;
    const auto device = directory_.GetDeviceObject(base.device_id, base.device_type);
    return text + " " + base.device_name + " " + std::to_string(base.device_type) + " " +
           (device ? std::to_string(device->GetProtocolType()) : "lost");
  }

  const std::shared_ptr<kelp::IDBManager> manager_ =
      platform::MakePostgresDBManager({.connection = Postgres().AppConnection()});
  const platform::ScopedBackend<kelp::IDBManager> installed_manager_{manager_};
  host::CameraDirectory directory_;
};

TEST_F(CameraDirectoryTest, AListReplacesTheFormerOneAsAWholeOrNotAtAll) {
  CameraList many{{{1, 2026, 3, "bus"}, {2, 1, 2147483647, "O'Neil's \\ 100%s"}}, {}};
  for (int id = 1; id <= 2001; ++id)
    many.elements.push_back({id, "camera " + std::to_string(id), id % 2 == 0 ? 2 : 1});
  Load(many);
  EXPECT_EQ(Camera(1), "camera 1 1 bus 2026 3");
  EXPECT_EQ(Camera(1000), "camera 1000 2 O'Neil's \\ 100%s 1 2147483647");
  EXPECT_EQ(Camera(2001), "camera 2001 1 bus 2026 3");
  EXPECT_EQ(Camera(0), "");
  EXPECT_EQ(directory_.GetDeviceObject(1, 1), nullptr) << "of another type";
  EXPECT_EQ(directory_.GetDeviceObject(3, 1), nullptr);

  Load({{{2, 5, 6, "seven"}, {1, 1, 1, "one"}}, {{7, "moved", 2}, {3, "alone"}}});
  EXPECT_EQ(Camera(7), "moved 2 seven 5 6");
  EXPECT_EQ(Camera(3), "alone -1");
  EXPECT_EQ(Camera(1), "");

  EXPECT_NE(host::ReplaceCameras({{{9, 1, 1, "nine"}}, {{9, "on none", 8}}}), "") << "a device that is not there";
  EXPECT_TRUE(directory_.Refresh());
  EXPECT_EQ(Camera(7), "moved 2 seven 5 6");
  EXPECT_EQ(Camera(9), "");
  CameraList stored;
  EXPECT_TRUE(host::ReadCameras(stored));
  EXPECT_EQ(stored.devices.size(), 2U);
  EXPECT_EQ(stored.elements.size(), 2U);

  manager_->UnInitialize(platform::kPlatformDbId);
  EXPECT_FALSE(directory_.Refresh());
  EXPECT_EQ(Camera(7), "moved 2 seven 5 6") << "what is in memory outlives the database's absence";
  ASSERT_TRUE(manager_->Initialize(platform::kPlatformDbId, 1, 1, true));
  Load({});
  EXPECT_EQ(Camera(7), "");
}

TEST(CameraCommandTest, ARunningHostTakesUpWhatIsLoaded) {
  EnsureTester();
  ASSERT_EQ(RunHost({"cameras", "load", CAMERA_SAMPLE}).exit_code, 0);
  HostProcess running(HostProcess::SettingsMap{{"plugins", "test_echo.s.so"}});
  const auto session = Login(running.WaitUntilListening(), "tester", kTesterPassword);
  const auto camera = [&](int id) { return Ask(running.port(), "GET", "/Camera/" + std::to_string(id), session).body; };
  EXPECT_EQ(camera(21), "Front door on 2 Bus 12 of protocol 3");
  EXPECT_EQ(camera(41), "Camera under repair on -1");

  const ScratchFolder folder;
  const auto bad = RunHost({"cameras", "load", folder.Write("bad.json", R"({"Devices":[],"Elements":[{}]})")});
  EXPECT_EQ(bad.exit_code, 1);
  EXPECT_THAT(bad.err, HasSubstr("bad.json: Elements, entry 1: ID is missing\n"));
  const auto loaded = RunHost({"cameras", "load", folder.Write("next.json", Element(R"("ID":21,"Name":"Hall")"))});
  EXPECT_EQ(loaded.out, "1 devices, 2 elements\n") << loaded.err;
  EXPECT_TRUE(Eventually([&] { return camera(21) == "Hall on -1"; }));
  EXPECT_EQ(camera(41), "no such camera");
  EXPECT_EQ(RunHost({"cameras", "list"}).out,
            "device\t1\ttype 0\tprotocol 0\td\nelement\t7\tdevice -\te\nelement\t21\tdevice -\tHall\n");
  EXPECT_EQ(running.Stop().exit_code, 0);
}

}  // namespace
}  // namespace evidence_test
