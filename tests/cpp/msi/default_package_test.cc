#include "install/msi/default_package.h"

#include <gtest/gtest.h>

namespace {

using installer::msi_wrapper::directoryOfPath;

TEST(DefaultPackage, TheDirectoryOfTheHostExecutable) {
  EXPECT_EQ(directoryOfPath(u"C:\\Program Files\\Setup\\setup.exe"), u"C:\\Program Files\\Setup");
  EXPECT_EQ(directoryOfPath(u"C:\\Setup\\setup.exe"), u"C:\\Setup");
  EXPECT_EQ(directoryOfPath(u"C:\\setup.exe"), u"C:\\");
  EXPECT_EQ(directoryOfPath(u"\\\\server\\share\\setup.exe"), u"\\\\server\\share");
  EXPECT_EQ(directoryOfPath(u"C:setup.exe"), u"C:");
  EXPECT_EQ(directoryOfPath(u"Z:/usr/bin/node"), u"Z:/usr/bin");
  EXPECT_EQ(directoryOfPath(u"setup.exe"), u"");
  EXPECT_EQ(directoryOfPath(u"\\setup.exe"), u"\\");
}

}  // namespace
