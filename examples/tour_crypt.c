/* tour_crypt.c - a tour of stream encryption: encrypt a text file into a
 * memory stream under a password, decrypt it back into another, and check
 * the round trip with CRC-32.
 *
 * The cipher is AES-256 block by block; the password's first 32 bytes are
 * the key. The cipher text is the plain text rounded up to 16 bytes, the
 * last block filled with blanks, and its length isn't stored: the caller
 * keeps it, as this tour does, to cut the blanks off again.
 *
 * Run from the examples folder, or pass the folder that holds data/. */
#include <kyr/kyr_core.h>

#include <stdio.h>
#include <string.h>

static const char* const password = "correct horse battery staple";

/* Runs src (from its start) through aes_encrypt or aes_decrypt into a new
 * vector of ours, and returns what the function returned. */
static u64_t crypt_into(svec* out, stream_t* src, int encrypt, const char* pw) {
  stream_t dst;
  if (!stream_open_memory(&dst, out)) return 0;
  src->ops->seek(src->ctx, 0, KYR_SEEK_SET);
  u64_t r = encrypt ? aes_encrypt(&dst, pw, src) : aes_decrypt(&dst, pw, src);
  dst.ops->close(dst.ctx);
  return r;
}

int main(int argc, char** argv) {
  char path[1024];
  snprintf(path, sizeof path, "%s/data/textx_lines.txt", argc > 1 ? argv[1] : ".");

  stream_t file;
  if (!stream_open_file(&file, path, "rb")) {
    printf("cannot open %s\n", path);
    return 1;
  }
  /* Keep the plain bytes for the check, then encrypt the file itself. */
  svec plain = NULL;
  stream_t copy;
  if (stream_open_memory(&copy, &plain)) {
    stream_copy(&file, &copy);
    copy.ops->close(copy.ctx);
  }
  svec cipher = NULL;
  u64_t consumed = crypt_into(&cipher, &file, 1, password);
  file.ops->close(file.ctx);

  u64_t plain_size = svec_length(plain);
  printf("plain text   %6llu bytes, CRC-32 %08X\n", (unsigned long long)plain_size,
         kyr_crc32(plain, plain_size));
  printf("encrypted    %6llu bytes read, %llu written, CRC-32 %08X\n",
         (unsigned long long)consumed, (unsigned long long)svec_length(cipher),
         kyr_crc32(cipher, svec_length(cipher)));

  /* Decrypt from a memory stream over the cipher text. */
  stream_t in;
  svec back = NULL, wrong = NULL;
  u64_t written = 0;
  if (stream_open_memory(&in, &cipher)) {
    written = crypt_into(&back, &in, 0, password);
    crypt_into(&wrong, &in, 0, "not the password");
    in.ops->close(in.ctx);
  }
  /* The decrypted text is the plain text and the blanks of the last block. */
  u64_t kept = written < plain_size ? written : plain_size;
  const char* tail = (const char*)back + kept;
  int blanks_only = 1;
  for (u64_t i = kept; i < written; i++) blanks_only &= tail[i - kept] == ' ';
  printf("decrypted    %6llu bytes, first %llu CRC-32 %08X, then %llu blanks\n",
         (unsigned long long)written, (unsigned long long)kept, kyr_crc32(back, kept),
         (unsigned long long)(written - kept));
  int same = written == svec_length(cipher) && kept == plain_size &&
             memcmp(back, plain, plain_size) == 0 && blanks_only;
  printf("round trip   %s\n", same ? "matches" : "DIFFERS");
  /* No check value: a wrong password gives garbage of the same length. */
  u64_t garbage = svec_length(wrong) < plain_size ? svec_length(wrong) : plain_size;
  printf("wrong key    %6llu bytes, first %llu CRC-32 %08X\n",
         (unsigned long long)svec_length(wrong), (unsigned long long)garbage,
         kyr_crc32(wrong, garbage));

  svec_free(&plain);
  svec_free(&cipher);
  svec_free(&back);
  svec_free(&wrong);
  return same ? 0 : 1;
}
