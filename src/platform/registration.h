/* What the registration of a cloud service needs: the DDNS account and the request's cipher. */
#ifndef NAS_PLATFORM_REGISTRATION_H
#define NAS_PLATFORM_REGISTRATION_H

#ifdef __cplusplus
extern "C" {
#endif

struct DdnsConfig {
    char host_name[128];
    char credential[128];
};

/* Reads the `index`-th DDNS account of the service `type`. Returns 0 when there is none. */
int ddnsapi_read_config_by_service_type(int index, const char *type, struct DdnsConfig *record);

/* Enciphers `length` bytes of `input` into at most `capacity` bytes. Returns the bytes produced. */
int encode_crypt(const char *input, unsigned char *output, int capacity, int option1, int option2, int length);

/* Writes `length` bytes of `input` as Base64 text, terminated; `output` holds
 * at least (length + 2) / 3 * 4 + 1 bytes. Returns the bytes written. */
int Base64encode(char *output, const char *input, int length);

#ifdef __cplusplus
}
#endif
#endif
