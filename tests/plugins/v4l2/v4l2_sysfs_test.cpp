// The real system layer's enumeration, over a sysfs tree of the test's own.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "plugins/v4l2/v4l2_system.h"

namespace {

namespace fs = std::filesystem;

class SysfsTree : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/v4l2sysfsXXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    root = pattern;
  }
  void TearDown() override { fs::remove_all(root); }
  void write(const fs::path& file, const std::string& text) {
    fs::create_directories(file.parent_path());
    std::ofstream(file) << text;
  }
  // A UVC camera: the node's device link points at the interface, whose
  // parent is the USB device with the ids.
  void addUsbNode(const std::string& node, const std::string& usb, const std::string& name) {
    fs::path device = root / "devices/pci0000:00/0000:00:14.0/usb1" / usb;
    fs::path interface = device / (usb + ":1.0");
    fs::create_directories(interface);
    write(device / "idVendor", "046d\n");
    write(device / "idProduct", "085c\n");
    write(device / "serial", "C2B5E8AF\n");
    fs::path cls = root / "class/video4linux" / node;
    write(cls / "name", name + "\n");
    fs::create_directory_symlink(interface, cls / "device");
  }
  fs::path root;
};

TEST_F(SysfsTree, NodesAreListedInNumberOrderWithTheirUsbIdentity) {
  addUsbNode("video10", "1-2.3", "C922 Pro Stream Webcam");
  addUsbNode("video2", "1-4", "Other");
  write(root / "class/video4linux/v4l-subdev0/name", "subdev\n");
  write(root / "class/video4linux/videoX/name", "odd\n");
  auto sys = v4l2cam::realSystem(root.string(), "/devtest");
  EXPECT_EQ(sys->listNodes(), (std::vector<std::string>{"/devtest/video2", "/devtest/video10"}));
  v4l2cam::NodeIdentity id = sys->identity("/devtest/video10");
  EXPECT_EQ(id.name, "C922 Pro Stream Webcam");
  EXPECT_EQ(id.vendorId, 0x046d);
  EXPECT_EQ(id.productId, 0x085c);
  EXPECT_EQ(id.serial, "C2B5E8AF");
  EXPECT_EQ(id.location, "1-2.3");
}

TEST_F(SysfsTree, NodesOutsideUsbOrMissingGiveAnEmptyIdentity) {
  write(root / "class/video4linux/video0/name", "vivid\n");
  auto sys = v4l2cam::realSystem(root.string(), "/dev");
  v4l2cam::NodeIdentity id = sys->identity("/dev/video0");
  EXPECT_EQ(id.name, "vivid");
  EXPECT_EQ(id.vendorId, 0);
  EXPECT_TRUE(id.serial.empty());
  id = sys->identity("/dev/video7");
  EXPECT_TRUE(id.name.empty());
  EXPECT_TRUE(v4l2cam::realSystem((root / "none").string())->listNodes().empty());
}

TEST(RealSystem, ErrorsComeBackAsNegativeErrno) {
  auto sys = v4l2cam::realSystem();
  EXPECT_EQ(sys->open("/nonexistent/video0", 2), -ENOENT);
  EXPECT_EQ(sys->open(std::string(300, 'a'), 2), -ENAMETOOLONG);
  EXPECT_EQ(sys->ioctl(-1, 0, nullptr), -EBADF);
  int error = 0;
  EXPECT_EQ(sys->mmap(4096, -1, 0, &error), nullptr);
  EXPECT_EQ(error, EBADF);
}

}  // namespace
