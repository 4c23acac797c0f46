/* A file whose holder is alone among those that ask for it. The kernel lets it go when its holder ends, however it
 * ends. Its text tells what the holder is busy with, so a text that is found there is of one that ended in the
 * middle. */
#ifndef NASHOST_LOCK_FILE_H
#define NASHOST_LOCK_FILE_H

#include <string>
#include <string_view>

namespace nashost
{

/* Let go at the end of its life. */
class LockFile
{
  public:
    LockFile() = default;
    ~LockFile();
    LockFile(const LockFile &) = delete;
    LockFile &operator=(const LockFile &) = delete;

    /* Waits until the file is free, or `milliseconds` at most; its folders are created. False when it is not had,
     * and errno says why: EWOULDBLOCK when another one holds it. */
    bool take(const std::string &path);
    bool take_within(const std::string &path, int milliseconds);
    bool is_held() const;
    void release();

    std::string note() const;
    bool set_note(std::string_view text) const;

  private:
    bool open_file(const std::string &path);
    int fd_ = -1;
};

} // namespace nashost

#endif
