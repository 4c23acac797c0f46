// The FTP daemon's configuration file, made with a template engine (ctemplate) instead of the library.
#ifndef NAS_BENCH_FTP_TEMPLATE_H
#define NAS_BENCH_FTP_TEMPLATE_H

namespace nas_bench
{

// Reads the folders of the disks and writes what the library writes for them and `share_users`.
void write_ftp_conf_with_template(const char *path);

} // namespace nas_bench

#endif
