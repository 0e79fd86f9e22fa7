// pixel_simd_body.h - the vector kernels, written once over a small set of
// operations that each including file defines for its register width (SSE2:
// 16 bytes, AVX2: 32, AVX-512BW: 64). Include it inside an anonymous
// namespace after defining:
//   KYR_SIMD_FN          the function prefix (with the target attribute)
//   V, kBytes            the register type and its width in bytes
//   load, store, set16, set8, and_, add16, mullo16, srl8_16 (>> 8 per u16),
//   unpacklo/hi 8, 16 and 32, packus16
//   order_in             how a load deals pixels out to the 16-byte lanes
//   store4               four BGRA registers out
//   swap_rb              the blue/red swap of one register
//   KYR_SIMD_MADDUBS     1 with maddubs (u8 x i8 pairs summed) and
//                        byte_factors(lo, hi); 0 with zero and sub16
//
// NV12 to BGRA in 16-bit lanes, exact. The reference computes, for c = Y-16,
// R = (298c + 409V - 52224) >> 8, which needs 18 bits. Splitting 298 = 256 +
// 42 and moving every whole multiple of 256 out of the shift gives
//   R = Y + V - 223       + ((42Y + 153V + 96) >> 8)
//   G = Y - V             + ((42Y + 48V - 100U + 34784) >> 8)
//   B = Y + 2U - 277      + ((42Y + 4U + 224) >> 8)
// where each shifted sum lies in 0..65535 for all bytes (R: 96..49821,
// G: 9284..57734, B: 224..11954), so it is computed modulo 2^16 and shifted
// as unsigned, and each outer sum lies in -277..534, which a signed 16-bit
// lane holds before the saturating pack clamps it to 0..255. The chroma
// terms are computed once per block of a chroma row and serve both luma rows.

// ============================================================ NV12 to BGRA

// Pixels are split by column parity: a 16-bit lane of a luma register holds
// two neighbours, and lane p of the chroma register holds the pair they
// share, so the even and the odd pixels of a block line up with the chroma
// terms as loaded, and nothing needs to be widened or duplicated.
struct ChromaTerms {
  V outer_r, outer_g, outer_b;
  V inner_r, inner_g, inner_b;
};

// Multipliers the compiler must keep as multiplies: left to itself it turns
// each into a chain of shifts and adds, which compete with the rest of the
// kernel for the same ports and cost about a third more time.
struct Factors {
  V k42, k48, k100, k153;
};

KYR_SIMD_FN V opaque(V x) {
  __asm__("" : "+x"(x));
  return x;
}

KYR_SIMD_FN Factors factors() {
  return {opaque(set16(42)), opaque(set16(48)), opaque(set16(100)), opaque(set16(153))};
}

// kBytes / 2 chroma pairs, one 16-bit lane each.
#if KYR_SIMD_MADDUBS
// With a byte multiply-add each term is one product of the pair (U, V) with
// two signed byte factors. 153 is no such factor, so red takes 409 =
// 512 - 103 instead: R = Y + 2V - 326 + ((42Y - 103V + 26464) >> 8), whose
// shifted sum lies in 199..37174.
KYR_SIMD_FN ChromaTerms chroma_terms(const uint8_t* uv, const Factors&) {
  V pairs = order_in(load(uv));
  ChromaTerms t;
  t.outer_r = add16(maddubs(pairs, byte_factors(0, 2)), set16(-326));
  t.outer_g = maddubs(pairs, byte_factors(0, -1));
  t.outer_b = add16(maddubs(pairs, byte_factors(2, 0)), set16(-277));
  t.inner_r = add16(maddubs(pairs, byte_factors(0, -103)), set16(26464));
  t.inner_g = add16(maddubs(pairs, byte_factors(-100, 48)),
                    set16(static_cast<int16_t>(0x87E0)));  // + 34784
  t.inner_b = add16(maddubs(pairs, byte_factors(4, 0)), set16(224));
  return t;
}
#else
KYR_SIMD_FN ChromaTerms chroma_terms(const uint8_t* uv, const Factors& k) {
  V pairs = order_in(load(uv));
  V u = and_(pairs, set16(0x00FF));
  V v = srl8_16(pairs);
  ChromaTerms t;
  t.outer_r = sub16(v, set16(223));
  t.outer_g = sub16(zero(), v);
  t.outer_b = sub16(add16(u, u), set16(277));
  t.inner_r = add16(mullo16(v, k.k153), set16(96));
  t.inner_g = add16(sub16(mullo16(v, k.k48), mullo16(u, k.k100)),
                    set16(static_cast<int16_t>(0x87E0)));  // + 34784
  t.inner_b = add16(add16(add16(u, u), add16(u, u)), set16(224));
  return t;
}
#endif

KYR_SIMD_FN V channel(V y, V y42, V outer, V inner) {
  return add16(add16(y, outer), srl8_16(add16(y42, inner)));
}

// kBytes pixels of one luma row to BGRA. Per 16-byte lane the saturating
// packs give [even 0..7 | odd 0..7] bytes of a channel; the byte and word
// unpacks build the even and the odd pixels, and the dword unpacks
// interleave them back into pixel order.
KYR_SIMD_FN void luma_block(const uint8_t* src, uint8_t* dst, const ChromaTerms& t,
                            const Factors& k) {
  V luma = order_in(load(src));
  V y[2] = {and_(luma, set16(0x00FF)), srl8_16(luma)};  // even, odd columns
  V r[2], g[2], b[2];
  for (int h = 0; h < 2; ++h) {
    V y42 = mullo16(y[h], k.k42);
    r[h] = channel(y[h], y42, t.outer_r, t.inner_r);
    g[h] = channel(y[h], y42, t.outer_g, t.inner_g);
    b[h] = channel(y[h], y42, t.outer_b, t.inner_b);
  }
  V b8 = packus16(b[0], b[1]);
  V g8 = packus16(g[0], g[1]);
  V r8 = packus16(r[0], r[1]);
  V a8 = set8(-1);
  V bg_even = unpacklo8(b8, g8), bg_odd = unpackhi8(b8, g8);
  V ra_even = unpacklo8(r8, a8), ra_odd = unpackhi8(r8, a8);
  V even_lo = unpacklo16(bg_even, ra_even), even_hi = unpackhi16(bg_even, ra_even);
  V odd_lo = unpacklo16(bg_odd, ra_odd), odd_hi = unpackhi16(bg_odd, ra_odd);
  store4(dst, unpacklo32(even_lo, odd_lo), unpackhi32(even_lo, odd_lo),
         unpacklo32(even_hi, odd_hi), unpackhi32(even_hi, odd_hi));
}

// Whole blocks from column x on; returns the first column not converted.
// The row record is copied to locals: byte stores may alias it.
KYR_SIMD_FN int nv12_blocks(const kyr::Nv12Rows& rows, int x) {
  const uint8_t *y0 = rows.y0, *y1 = rows.y1, *uv = rows.uv;
  uint8_t *d0 = rows.d0, *d1 = rows.d1;
  const int width = rows.width;
  const Factors k = factors();
  if (y1) {
    for (; x + kBytes <= width; x += kBytes) {
      ChromaTerms t = chroma_terms(uv + x, k);
      luma_block(y0 + x, d0 + 4 * static_cast<size_t>(x), t, k);
      luma_block(y1 + x, d1 + 4 * static_cast<size_t>(x), t, k);
    }
  } else {
    for (; x + kBytes <= width; x += kBytes)
      luma_block(y0 + x, d0 + 4 * static_cast<size_t>(x), chroma_terms(uv + x, k), k);
  }
  return x;
}

// ============================================================ blue/red swap

// Four registers per step, each stored as soon as it is swapped: batching
// the loads ahead of the stores measured about a fifth slower on a buffer
// larger than the caches. Safe for dst == src and for buffers apart.
// Returns the pairs done.
KYR_SIMD_FN size_t swap_rb_blocks(uint8_t* dst, const uint8_t* src, size_t pairs) {
  constexpr size_t kStepBytes = 4 * kBytes;
  size_t bytes = pairs * 8 / kStepBytes * kStepBytes;
  for (size_t i = 0; i < bytes; i += kStepBytes) {
    store(dst + i, swap_rb(load(src + i)));
    store(dst + i + kBytes, swap_rb(load(src + i + kBytes)));
    store(dst + i + 2 * kBytes, swap_rb(load(src + i + 2 * kBytes)));
    store(dst + i + 3 * kBytes, swap_rb(load(src + i + 3 * kBytes)));
  }
  return bytes / 8;
}
