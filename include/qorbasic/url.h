// Placeholder: this family is being written.
#ifndef QORBASIC_URL_H
#define QORBASIC_URL_H
#endif  // QORBASIC_URL_H
