// Placeholder: this family is being written.
#ifndef QORBASIC_CONFIG_H
#define QORBASIC_CONFIG_H
#endif  // QORBASIC_CONFIG_H
