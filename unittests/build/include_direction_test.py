"""Shows that include_direction.py finds each kind of fault, and nothing in a tree without one."""

import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import include_direction

HEADERS = [
    "include/zumra/Export.h",
    "include/zumra/osa/Mutex.h",
    "include/zumra/core/IniFile.h",
    "include/zumra/check/Check.h",
    "include/zumra/settings/IChangeCallback.h",
    "include/zumra/settings/Client.h",
    "include/zumra/settings/common/Matcher.h",
    "include/zumra/settings/server/Manager.h",
    "src/settings/common/Router.h",
    "src/settings/server/Session.h",
    "src/settings/client/Backend.h",
    "src/storage/Store.h",
    "apps/daemon/Loop.h",
    "tests/common/TestUtil.h",
]


class IncludeDirectionTest(unittest.TestCase):
    def faults_of(self, path, line):
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder).resolve()
            for name in [*HEADERS, path]:
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).touch()
            (root / path).write_text("// first line\n" + line + "\n")
            found, count = include_direction.faults(root)
            self.assertEqual(count, 1)
            return found

    def check_good(self, path, line):
        self.assertEqual(self.faults_of(path, line), [])

    def check_bad(self, path, line, text):
        self.assertEqual(self.faults_of(path, line), [f"{path}:2: {text}"])

    def test_arrows_that_are_meant(self):
        self.check_good("src/core/IniFile.cpp", '#include "zumra/osa/Mutex.h"')
        self.check_good("src/settings/common/Router.cpp", '#include "zumra/core/IniFile.h"')
        self.check_good("src/settings/common/Router.cpp", '#include "zumra/settings/IChangeCallback.h"')
        self.check_good("src/settings/common/Router.cpp", "#include <string>")
        self.check_good("src/settings/server/Session.cpp", "#include <chrono>")
        self.check_good("src/settings/server/Session.cpp", '#include "Session.h"')
        self.check_good("src/settings/client/InProcessLocal.cpp", '#include "zumra/settings/server/Manager.h"')
        self.check_good("src/settings/client/Client.cpp", "#  include <sys/socket.h>")

        self.check_good("src/storage/Store.cpp", '#include "zumra/settings/server/Manager.h"')
        self.check_good("apps/daemon/main.cpp", '#include "storage/Store.h"')

    def test_arrows_that_are_not(self):
        manager = '#include "zumra/settings/server/Manager.h"'
        of_manager = "includes include/zumra/settings/server/Manager.h of layer server"
        self.check_bad("src/core/IniFile.cpp", manager, f"layer core {of_manager}")
        self.check_bad("src/settings/common/Router.cpp", manager, f"layer common {of_manager}")
        self.check_bad("src/settings/client/Client.cpp", manager, f"layer client {of_manager}")
        self.check_bad("src/settings/client/Backend.h", manager, f"layer client {of_manager}")
        self.check_bad("include/zumra/settings/Other.h", manager, f"layer client {of_manager}")
        self.check_bad("src/settings/server/Session.cpp", '#include "zumra/settings/Client.h"',
                       "layer server includes include/zumra/settings/Client.h of layer client")
        self.check_bad("src/settings/server/Session.cpp", '#include "../client/Backend.h"',
                       "layer server includes src/settings/client/Backend.h of layer client")
        self.check_bad("src/osa/Mutex.cpp", '#include "zumra/core/IniFile.h"',
                       "layer osa includes include/zumra/core/IniFile.h of layer core")
        self.check_bad("src/core/IniFile.cpp", '#include "zumra/check/Check.h"',
                       "layer core includes include/zumra/check/Check.h of layer check")
        self.check_bad("src/check/Check.cpp", '#include "settings/common/Router.h"',
                       "layer check includes src/settings/common/Router.h of layer common")
        self.check_bad("src/settings/server/Session.cpp", '#include "storage/Store.h"',
                       "layer server includes src/storage/Store.h of layer storage")
        self.check_bad("src/storage/Store.cpp", '#include "daemon/Loop.h"',
                       "layer storage includes apps/daemon/Loop.h of layer apps")
        self.check_bad("src/settings/server/Session.cpp", '#include "../../../tests/common/TestUtil.h"',
                       "layer server includes tests/common/TestUtil.h, which is in no layer")

    def test_system_headers(self):
        for name in ("sys/socket.h", "netinet/in.h", "unistd.h", "fcntl.h", "fstream", "filesystem", "cstdio", "chrono",
                     "ctime", "time.h", "asio.hpp", "poll.h"):
            text = f"includes the system header <{name}>"
            self.check_bad("src/core/IniFile.cpp", f"#include <{name}>", f"layer core {text}")
            self.check_bad("src/settings/common/Router.h", f"#include <{name}>", f"layer common {text}")
            self.check_bad("include/zumra/settings/common/Matcher.h", f"#include <{name}>", f"layer common {text}")

    def test_file_without_a_layer(self):
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder).resolve()
            (root / "src/other").mkdir(parents=True)
            (root / "src/other/File.cpp").write_text("#include <string>\n")
            self.assertEqual(include_direction.faults(root)[0], ["src/other/File.cpp:1: is in no layer"])


if __name__ == "__main__":
    unittest.main()
