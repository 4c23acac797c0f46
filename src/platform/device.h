/* Facts about the device, its LEDs, and the host's periodic callbacks. */
#ifndef NAS_PLATFORM_DEVICE_H
#define NAS_PLATFORM_DEVICE_H

#ifdef __cplusplus
extern "C" {
#endif

enum { NAS_PRODUCT_SIZE = 128 };

/* `usb_port_kind[i]` is 2 or 3, the USB generation of port i + 1; `model` starts at byte 96. 1024 bytes. */
struct HardwareInfo {
    int usb_port_count;
    int usb_port_kind[23];
    char model[64];
    char reserved[864];
};

/* `mode` 0: LEDs always on, 1: always off, else dark from `start_hour` until `end_hour` (0 to 23). */
struct LedSilentControl {
    int mode;
    int start_hour;
    int end_hour;
};

/* What a periodic callback is handed: it sets `active` (1 call again, 0 stop) and after how many seconds
 * (`interval`); `run_count` tells how often it was called since it was scheduled. `interval` stands at byte 68. */
struct PeriodicCallbackRecord {
    int active;
    char host_data[60];
    int run_count;
    int interval;
};

/* Section "pi": writes the product text into a buffer of NAS_PRODUCT_SIZE bytes.
 * Section "hw": fills a `struct HardwareInfo`. Returns 0, -1 for any other section. */
int get_si(const char *section, void *out);

/* Non-zero in the factory's test mode. */
int is_factory_test_mode(void);

/* Non-zero while the host's diagnostic flag is set. */
int check_diag_flag(void);

/* Non-zero when the kernel module is loaded. */
int check_module_installed(const char *module);

/* Switches the LED of a USB port (from 1; -1 for a device that is on none) on (1) or off (0). Returns 0, -1 on
 * failure. */
int set_usbled(int port, int on);

/* Fills in when the LEDs are to be dark. Returns 0, -1 when nothing is set. */
int get_led_silent_control(struct LedSilentControl *control);

#ifdef __cplusplus
}
#endif
#endif
