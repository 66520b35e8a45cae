// Placeholder: this family is being written.
#ifndef QORBASIC_JSON_VALIDATOR_H
#define QORBASIC_JSON_VALIDATOR_H
#endif  // QORBASIC_JSON_VALIDATOR_H
