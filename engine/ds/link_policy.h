// What a directory lock makes of a symbolic link in place of its directory.
#pragma once

enum class dsLinkPolicy {
  follow,  // the link's target is the directory, and its lock file lies beside the target
  refuse,  // a link (or anything but a directory) is no directory: as if it were missing
};
