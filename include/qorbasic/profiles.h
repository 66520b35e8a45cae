// Placeholder: this family is being written.
#ifndef QORBASIC_PROFILES_H
#define QORBASIC_PROFILES_H
#endif  // QORBASIC_PROFILES_H
