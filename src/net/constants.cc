// The address constants. They live in one translation unit so that they are
// built in a fixed order: the IPCidr constants are read from text, and
// isHIT() reads hit_net.
#include "qorbasic/cidr.h"
#include "qorbasic/ipaddress.h"

const IPAddress IPAddress::zero4(nullptr, AF_INET);
const IPAddress IPAddress::zero6(nullptr, AF_INET6);
const IPAddress IPAddress::INVALID_ADDRESS;

const IPCidr IPCidr::zero4(std::string("0.0.0.0/0"));
const IPCidr IPCidr::zero6(std::string("::/0"));
const IPCidr IPCidr::cidr128_1(std::string("128.0.0.0/1"));
const IPCidr IPCidr::hit_net(IPAddress(std::string("2001:10::")), 28);
const IPCidr IPCidr::invalid;

const MACAddress MACAddress::ZERO;
static const unsigned char all_ones[6] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
const MACAddress MACAddress::BROADCAST(all_ones);
