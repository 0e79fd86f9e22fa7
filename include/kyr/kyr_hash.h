/*
 * kyr_hash.h - CRC-32, SipHash-2-4 and the AES block cipher.
 *
 * The primitives follow their standards bit for bit: CRC-32 of IEEE 802.3,
 * SipHash-2-4 as published, AES as FIPS-197 defines it. They work on the
 * caller's memory and constant tables only, so any thread may call them.
 * Faster paths (carry-less multiply for CRC-32, AES instructions) are chosen
 * at run time from what the processor reports and give the same results as
 * the table code.
 */
#ifndef KYR_HASH_H
#define KYR_HASH_H

#include "kyr_types.h"

KYR_EXTERN_C_BEGIN

/* CRC-32 (reflected polynomial 0xEDB88320, initial value all ones, final
 * inversion): "123456789" gives 0xCBF43926. An empty input (or a null data
 * with size 0) gives 0. */
KYR_API u32_t kyr_crc32(const void* data, u64_t size);

/* SipHash-2-4 of size bytes under the 128-bit key key[0] = k0, key[1] = k1
 * (the 16 key bytes read as two little-endian words). Message words are read
 * little-endian; the last word carries the remaining bytes and the length's
 * low byte at the top. key must not be null; data may be null when size is
 * 0. */
KYR_API u64_t siphash24(const void* data, u32_t size, const u64_t* key);

/* AES key schedules live in the caller's u32 array of keybits / 8 + 28
 * entries: 44, 52 or 60 for keys of 128, 192 or 256 bits. */
#define KYR_RIJNDAEL_SCHEDULE_WORDS(keybits) ((keybits) / 8 + 28)

/* Expands key (keybits / 8 bytes, read big-endian into 32-bit words as
 * FIPS-197 does) into schedule for rijndaelEncrypt. Returns the number of
 * rounds, 10, 12 or 14 for keybits 128, 192 or 256, and 0 for any other
 * keybits (the schedule's content is then undefined; don't encrypt with 0
 * rounds). */
KYR_API i32_t rijndaelSetupEncrypt(u32_t* schedule, const u8_t* key, i32_t keybits);

/* The same expansion, turned around for the equivalent inverse cipher: the
 * round keys in reverse order, the inner ones passed through InvMixColumns.
 * This schedule serves rijndaelDecrypt only. */
KYR_API i32_t rijndaelSetupDecrypt(u32_t* schedule, const u8_t* key, i32_t keybits);

/* One 16-byte block through AES with a schedule and the rounds its set-up
 * returned. Input and output may be the same buffer. */
KYR_API void rijndaelEncrypt(const u32_t* schedule, i32_t rounds, const u8_t* plaintext,
                             u8_t* ciphertext);
KYR_API void rijndaelDecrypt(const u32_t* schedule, i32_t rounds, const u8_t* ciphertext,
                             u8_t* plaintext);

/* ---------------------------------------------------------------- AES streams */

struct stream_t; /* kyr_stream.h */

/* Runs a stream through AES-256 in ECB mode under a text password: each
 * 16-byte block is enciphered by itself, with no initialisation vector and no
 * chaining, so equal plain blocks give equal cipher blocks.
 *
 * The key is the first 32 bytes of the NUL-terminated `password`; a shorter
 * password is filled up to 32 bytes with zero bytes, a longer one is cut.
 * There is no hashing, no salt and no check value: a wrong password decrypts
 * to garbage of the right length.
 *
 * Both functions run from src's current position to its end and write at
 * dst's current position, through any stream (a caller's table too). They
 * read and write many blocks per call; a read that gives fewer bytes than
 * asked is not the end of the data, only a read that gives nothing (or a
 * negative count) is. A write that takes part of what it was given is handed
 * the rest. A null dst, password or src returns 0 and touches no stream.
 * Key and schedule live on the caller's stack and the data passes through
 * one 64 KiB heap buffer; all three are cleared before the call returns.
 * Any thread may call, each stream used by one thread at a time. */

/* Encrypts src into dst. A last short block is filled up with blanks (0x20)
 * to 16 bytes, unmarked, so the output is the input's length rounded up to a
 * multiple of 16. Returns the bytes read from src; 0 when src is empty
 * (nothing is written), when dst stops taking bytes (a write takes none of
 * what is left; what was written stays written), or when a read claims more
 * bytes than it was asked for. */
KYR_API u64_t aes_encrypt(struct stream_t* dst, const char* password, struct stream_t* src);

/* Decrypts src into dst, 16 bytes at a time; trailing bytes of a last short
 * block are ignored, and the blanks of a padded last block come out as data.
 * Returns the bytes dst took; 0 when src holds less than one block (nothing
 * is written) or when a read claims more than it was asked for. A dst that
 * stops taking bytes doesn't stop the decryption: src is read to its end and
 * the result counts only what dst took. */
KYR_API u64_t aes_decrypt(struct stream_t* dst, const char* password, struct stream_t* src);

KYR_EXTERN_C_END

#endif /* KYR_HASH_H */
