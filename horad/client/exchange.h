// SPDX-License-Identifier: GPL-2.0-or-later
//
// The exchange with a server on the network.  Client thread only.
#pragma once

#include <cstddef>

#include <netinet/in.h>

#include "client/ntp_server.h"
#include "client/packet.h"

/// Port of every NTP server, and the one we send from.
inline constexpr in_port_t ntp_port = 123;

/// An IPv4 UDP socket bound to the NTP port, on every address, which select() can
/// watch; or -1 with the reason on standard error.
[[nodiscard]] int open_client_socket() noexcept;

/// Builds a request, looks the server's name up and sends the request to its
/// first IPv4 address.
///
/// socket   an IPv4 UDP socket
/// request  receives the request's bytes, also when it could not be sent
///
/// Returns whether it was sent; otherwise standard error says why.  Holds
/// ntp_mutex during the look-up, which may take as long as the resolver likes.
[[nodiscard]] bool ntp_send_packet(int socket, ntp_server server, request_bytes &request) noexcept;

/// Whether a datagram's sender is the server: its address is compared with the
/// first IPv4 address of the server's name as it stands and resolves now.  The
/// sender's port is not compared.  Does not take ntp_mutex.
[[nodiscard]] bool check_source(const sockaddr_in &sender, ntp_server server) noexcept;
