/*
 * kyr_core.h - the umbrella header: every family of kyr-core.
 */
#ifndef KYR_CORE_H
#define KYR_CORE_H

#include "kyr_types.h"
#include "kyr_geometry.h"
#include "kyr_log.h"
#include "kyr_svec.h"
#include "kyr_ustr.h"
#include "kyr_encoding.h"
#include "kyr_file.h"
#include "kyr_system.h"
#include "kyr_stream.h"
#include "kyr_var.h"
#include "kyr_ustrs.h"
#include "kyr_width.h"
#include "kyr_codec.h"
#include "kyr_hash.h"
#include "kyr_yaml.h"
#include "kyr_tensor.h"
#include "kyr_matrix.h"
#include "kyr_quat.h"
#include "kyr_half.h"
#include "kyr_var_path.h"
#include "kyr_compress.h"
#include "kyr_varint.h"
#include "kyr_image.h"
#include "kyr_pixel.h"
#include "kyr_roi.h"
#include "kyr_digits.h"
#include "kyr_var_conv.h"
#include "kyr_var_error.h"
#include "kyr_json.h"
#include "kyr_rtti.h"
#include "kyr_var_bind.h"

#endif /* KYR_CORE_H */
