// Placeholder: this family is being written.
#ifndef QORBASIC_GUARDS_H
#define QORBASIC_GUARDS_H
#endif  // QORBASIC_GUARDS_H
