// Placeholder: this family is being written.
#ifndef QORBASIC_NET_H
#define QORBASIC_NET_H
#endif  // QORBASIC_NET_H
