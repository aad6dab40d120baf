#include "install/msi/default_package.h"

#include <gtest/gtest.h>

namespace {

using installer::msi_wrapper::directoryOfPath;

TEST(DefaultPackage, TheDirectoryOfTheHostExecutable) {
  const std::pair<const char16_t*, const char16_t*> cases[] = {
      {u"C:\\Program Files\\Setup\\setup.exe", u"C:\\Program Files\\Setup"}, {u"C:\\Setup\\setup.exe", u"C:\\Setup"},
      {u"C:\\setup.exe", u"C:\\"}, {u"\\\\server\\share\\setup.exe", u"\\\\server\\share"}, {u"C:setup.exe", u"C:"},
      {u"Z:/usr/bin/node", u"Z:/usr/bin"}, {u"setup.exe", u""}, {u"\\setup.exe", u"\\"}};
  for (const auto& [path, directory] : cases) EXPECT_EQ(directoryOfPath(path), directory);
}

}  // namespace
