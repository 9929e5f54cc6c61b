"""An installation works from wherever it is: tool, module, manual pages, completions."""
import json
import os
import subprocess
import unittest

from support import VelTest, photo_like, read_png, write_png


class Installed(VelTest):
    def test_an_installation_can_be_moved(self):
        done = subprocess.run([os.environ["CMAKE"], "--install", os.environ["BUILD"], "--prefix", self.path("first")],
                              capture_output=True, text=True)
        self.assertEqual(done.returncode, 0, done.stderr)
        os.rename(self.path("first"), self.path("moved"))
        tool = self.path("moved", "bin", "vel")
        write_png(self.path("in.png"), photo_like(8, 8))
        done = subprocess.run([tool, "negative", "-i", "in.png", "-o", "out.png"], cwd=self.folder, capture_output=True,
                              text=True)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(read_png(self.path("out.png")).rows[0][0], tuple(255 - v for v in photo_like(8, 8).rows[0][0]))
        version = json.loads(subprocess.run([tool, "version", "--json"], capture_output=True).stdout)
        self.assertTrue(version["module"].startswith(self.path("moved")), version)

        share = self.path("moved", "share")
        self.assertIn("vel-rotate.1", self.files(os.path.join(share, "man", "man1")))
        for path in ("bash-completion/completions/vel", "zsh/site-functions/_vel", "fish/vendor_completions.d/vel.fish"):
            self.assertTrue(os.path.getsize(os.path.join(share, path)) > 0, path)


if __name__ == "__main__":
    unittest.main()
