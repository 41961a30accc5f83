#include "base/file_descriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <utility>

namespace {

bool isOpenInProcess(int fd) {
  return fcntl(fd, F_GETFD) != -1;
}

int openSomething() {
  return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

TEST(FileDescriptorTest, ClosesWhatItOwns) {
  const int raw = openSomething();
  {
    const FileDescriptor fd(raw);
    EXPECT_TRUE(fd.isOpen());
    EXPECT_EQ(fd.get(), raw);
    EXPECT_TRUE(isOpenInProcess(raw));
  }
  EXPECT_FALSE(isOpenInProcess(raw));
}

TEST(FileDescriptorTest, HasNoneToBeginWith) {
  const FileDescriptor fd;
  EXPECT_FALSE(fd.isOpen());
  EXPECT_EQ(fd.get(), -1);
}

TEST(FileDescriptorTest, MovingHandsItOver) {
  const int raw = openSomething();
  FileDescriptor first(raw);
  const FileDescriptor second(std::move(first));
  EXPECT_FALSE(first.isOpen());
  EXPECT_EQ(second.get(), raw);
  EXPECT_TRUE(isOpenInProcess(raw));
}

TEST(FileDescriptorTest, AssigningClosesTheFormerOne) {
  const int former = openSomething();
  const int next = openSomething();
  FileDescriptor fd(former);
  FileDescriptor source(next);
  fd = std::move(source);
  EXPECT_FALSE(isOpenInProcess(former));
  EXPECT_TRUE(isOpenInProcess(next));
  EXPECT_EQ(fd.get(), next);
}

TEST(FileDescriptorTest, AssigningToItselfKeepsIt) {
  const int raw = openSomething();
  FileDescriptor fd(raw);
  FileDescriptor& same = fd;
  fd = std::move(same);
  EXPECT_EQ(fd.get(), raw);
  EXPECT_TRUE(isOpenInProcess(raw));
}

TEST(FileDescriptorTest, ReleasingGivesItUpOpen) {
  const int raw = openSomething();
  FileDescriptor fd(raw);
  const FileDescriptor owner(fd.release());
  EXPECT_FALSE(fd.isOpen());
  EXPECT_EQ(owner.get(), raw);
  EXPECT_TRUE(isOpenInProcess(raw));
}

}  // namespace
