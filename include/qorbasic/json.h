// Placeholder: this family is being written.
#ifndef QORBASIC_JSON_H
#define QORBASIC_JSON_H
#endif  // QORBASIC_JSON_H
