#include "xp/service/status.h"

#include <errno.h>

int32_t xp_err_errno(int number) {
  switch (number) {
    case 0: return 0;
    case ENOSPC:
    case EDQUOT:
    case EFBIG: return XP_ERR_FULL;
    case ENAMETOOLONG:
    case ELOOP: return XP_ERR_NAME;
    case EMFILE:
    case ENFILE: return XP_ERR_TOOMANY;
    case ENOENT: return XP_ERR_ABSENT;
    case EBUSY:
    case ENOTEMPTY:
    case ETXTBSY: return XP_ERR_BUSY;
    case EEXIST: return XP_ERR_EXISTS;
    case EINVAL: return XP_ERR_ARGUMENT;
    case EACCES:
    case EPERM:
    case EROFS: return XP_ERR_DENIED;
    case EISDIR:
    case ENOTDIR:
    case ENXIO:
    case ENODEV: return XP_ERR_KIND;
    case ENOMEM: return XP_ERR_NOMEMORY;
    default: return XP_ERR_IO;
  }
}
