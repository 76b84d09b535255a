// The media folders a desktop user already has: XDG Pictures, Music and
// Videos, as user-dirs.dirs names them (the xdg-user-dirs defaults
// otherwise), so that dmsd serves something useful without --media.
#ifndef DMS_APP_XDG_FOLDERS_H
#define DMS_APP_XDG_FOLDERS_H

#include <string>
#include <vector>

// The folders named by XDG_PICTURES_DIR, XDG_MUSIC_DIR and XDG_VIDEOS_DIR in
// `userDirsText` (the content of user-dirs.dirs, "" when there is none), in
// that order, with "$HOME" expanded to `home`. A kind the file does not name
// gets HOME/Pictures, HOME/Music or HOME/Videos; one set to HOME itself is
// disabled (the xdg-user-dirs convention) and left out. Existence is not
// checked.
std::vector<std::string> XdgMediaFolders(const std::string& userDirsText, const std::string& home);

// The same for the user that runs the process: $XDG_CONFIG_HOME (else
// ~/.config)/user-dirs.dirs and $HOME. Empty when HOME is unset.
std::vector<std::string> UserXdgMediaFolders();

#endif  // DMS_APP_XDG_FOLDERS_H
