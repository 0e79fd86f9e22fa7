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
#include "kyr_var.h"
#include "kyr_digits.h"
#include "kyr_var_conv.h"
#include "kyr_var_error.h"
#include "kyr_json.h"

#endif /* KYR_CORE_H */
