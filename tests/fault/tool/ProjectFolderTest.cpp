// The folder of the lists after a loss of power.

#include "tools/fsys/ProjectFolder.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/fake/FakeCrash.h"
#include "platform/fake/FakeOSScope.h"

TEST(ProjectFolderTest, AFolderThatWasMadeSurvivesALossOfPowerWithItsParents) {
  FakeOSScope os;
  os->files().addFolder(L"/home");
  FakeCrash crash(*os);
  ProjectFolder("/home/deep/down/project").make();
  size_t states = crash.forEachStateNow([&](const std::string& what) {
    EXPECT_TRUE(os->files().folderExists(L"/home/deep/down/project")) << what;
  });
  EXPECT_GT(states, 0u);
}
