/* The print server, cupsd. */
#ifndef SERVICED_PRINT_SERVER_H
#define SERVICED_PRINT_SERVER_H

namespace serviced
{

/* Starts or ends it, and lets the internet to it or not, as the settings say. False when it is to be switched off. */
bool prepare_print_server();

} // namespace serviced

#endif
