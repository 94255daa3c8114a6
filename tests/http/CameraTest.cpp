// Cameras and devices: their file, their tables, what plugins of a running host are told of them.

#include <gtest/gtest.h>

#include "CameraDirectory.h"
#include "CameraFile.h"
#include "RealBackends.h"
#include "http/HostProcess.h"
#include "http/HttpClient.h"
#include "support/Eventually.h"
#include "support/ThrowawayPostgres.h"

namespace evidence_test {
namespace {

std::string Device(const std::string& members) { return R"({"Devices":[{)" + members + R"(}],"Elements":[]})"; }
std::string Element(const std::string& members) {
  return R"({"Devices":[{"ID":1,"Type":5,"Protocol":6,"Name":"O'Neil's \\ 100%s"}],"Elements":[{"ID":7,"Name":"e"},{)" +
         members + "}]}";
}

TEST(CameraFileTest, NamesThePlaceAndTheFault) {
  const std::string no_json = ": is no JSON, not UTF-8, or nested too deep";
  const std::string range = ": Elements, entry 2: ID must lie between 1 and 2147483647";
  const std::string name = ": Elements, entry 2: Name must have 1 to 256 characters and no control character";
  const std::pair<std::string, std::string> cases[] = {
      {"", ":1" + no_json},
      {"{\"Devices\":[],\n\n\"Elements\":[}", ":3" + no_json},
      {"{\"Devices\":[],\n\"Elements\":\"\xff\"}", ":2" + no_json},
      {std::string(1 << 20, '['), ":1" + no_json},
      {std::string(host::kMaxCameraFile + 1, ' '), ": has more than 33554432 bytes"},
      {"[]", ": is no object"},
      {R"({"Devices":[]})", ": Elements is missing"},
      {R"({"Devices":[],"Elements":[],"Devices":[]})", ": Devices and Elements, each once, are the only keys"},
      {R"({"Devices":[3],"Elements":[]})", ": Devices, entry 1: is no object"},
      {Device(R"("ID":1,"Type":1,"Name":"d")"), ": Devices, entry 1: Protocol is missing"},
      {Device(R"("ID":1,"Type":"1")"), ": Devices, entry 1: Type is no whole number"},
      {Device(R"("ID":1,"Type":1,"Protocol":1,"Name":null)"), ": Devices, entry 1: Name is no text"},
      {Element(R"("ID":0,"Name":"e")"), range},
      {Element(R"("ID":2147483648,"Name":"e")"), range},
      {Element(R"("ID":18446744073709551615,"Name":"e")"), range},
      {Element(R"("ID":8,"Name":"")"), name},
      {Element(R"("ID":8,"Name":"a\u0000b")"), name},
      {Element(R"("ID":8,"Name":")" + std::string(257, 'x') + "\""), name},
      {Element(R"("ID":8,"ID":9,"Name":"e")"), ": Elements, entry 2: ID is repeated"},
      {Element(R"("ID":8,"Name":"e","DeviceId":1)"), ": Elements, entry 2: has an unknown key"},
      {Element(R"("ID":7,"Name":"e")"), ": Elements, entry 2: ID 7 is repeated"},
      {Element(R"("ID":8,"Name":"e","DeviceID":2)"), ": Elements, entry 2: there is no device 2"},
  };
  const ScratchFolder folder;
  for (const auto& [text, fault] : cases) {
    host::CameraList list;
    const auto file = folder.Write("cameras.json", text);
    EXPECT_EQ(host::ReadCameraFile(file, list), file + fault) << text.substr(0, 100);
    EXPECT_TRUE(list.devices.empty() && list.elements.empty()) << text.substr(0, 100);
  }
}

TEST(CameraTest, ARunningHostTakesUpEachListAsAWhole) {
  EnsureTester();
  const ScratchFolder folder;
  const auto load = [](const std::string& file) {
    const auto finished = RunHost({"cameras", "load", file});
    return finished.out + finished.err;
  };
  EXPECT_EQ(load(CAMERA_SAMPLE), "3 devices, 5 elements\n");
  HostProcess host(SettingsMap{{"plugins", "test_show.s.so"}});
  const auto session = Login(host.WaitUntilListening()).id;
  const auto camera = [&](int id) { return Ask(host.port(), "GET", "/Camera/" + std::to_string(id), session).body; };
  EXPECT_EQ(camera(21), "Front door on 2 Bus 12 of protocol 3");
  EXPECT_EQ(camera(41), "Camera under repair on -1");

  std::string many = R"("ID":2147483647,"DeviceID":1,"Name":"last")";
  for (int id = 1000; id < 3000; ++id)
    many += "},{\"ID\":" + std::to_string(id) + R"(,"Name":"camera","DeviceID":1)";
  EXPECT_EQ(load(folder.Write("many.json", Element(many))), "1 devices, 2002 elements\n");
  const std::string last = "last on 1 O'Neil's \\ 100%s of protocol 6";
  EXPECT_TRUE(Eventually([&] { return camera(2147483647) == last; }));
  EXPECT_EQ(camera(2999), "camera" + last.substr(4));
  EXPECT_EQ(camera(21), "no such camera");
  const auto bad = folder.Write("bad.json", R"({"Devices":[],"Elements":[{}]})");
  EXPECT_EQ(load(bad), "evidence-host: " + bad + ": Elements, entry 1: ID is missing\n");
  EXPECT_EQ(load(folder.Write("few.json", Element(R"("ID":21,"Name":"Hall")"))), "1 devices, 2 elements\n");
  EXPECT_TRUE(Eventually([&] { return camera(21) == "Hall on -1"; }));
  EXPECT_EQ(RunHost({"cameras", "list"}).out,
            "device\t1\ttype 5\tprotocol 6\tO'Neil's \\ 100%s\n"
            "element\t7\tdevice -\te\nelement\t21\tdevice -\tHall\n");
  EXPECT_EQ(host.Stop().exit_code, 0);
}

TEST(CameraTest, WhatIsInMemoryOutlivesTheDatabasesAbsence) {
  const auto manager = platform::MakePostgresDBManager({.connection = Postgres().AppConnection()});
  const platform::ScopedBackend<kelp::IDBManager> installed(manager);
  ASSERT_TRUE(manager->Initialize(platform::kPlatformDbId, 1, 1, true));
  ASSERT_EQ(host::ReplaceCameras({{{1, 5, 6, "bus"}}, {{7, "door", 1}}}), "");
  EXPECT_NE(host::ReplaceCameras({{{9, 1, 1, "nine"}}, {{9, "on none", 8}}}), "") << "a device that is not there";
  host::CameraDirectory directory;
  ASSERT_TRUE(directory.Refresh());
  manager->UnInitialize(platform::kPlatformDbId);
  EXPECT_FALSE(directory.Refresh());
  kelp::SElementBaseInfo camera;
  EXPECT_TRUE(directory.GetElementInfo(camera, 7, 0));
  EXPECT_FALSE(directory.GetElementInfo(camera, 9, 0));
  EXPECT_TRUE(directory.GetDeviceObject(1, 5));
  EXPECT_FALSE(directory.GetDeviceObject(1, 6)) << "of another type";
}

}  // namespace
}  // namespace evidence_test
