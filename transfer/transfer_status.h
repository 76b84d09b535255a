// The status of a client transfer (ImportResource, ExportResource), as
// GetTransferProgress reports it.
#ifndef DMS_TRANSFER_TRANSFER_STATUS_H
#define DMS_TRANSFER_TRANSFER_STATUS_H

typedef enum NUVCDSWL_FILETRANSFER_STATUS {
  NUVCDSWL_FILETRANSFER_IN_PROGRESS = 0,
  NUVCDSWL_FILETRANSFER_STOPPED = 1,
  NUVCDSWL_FILETRANSFER_ERROR = 2,
  NUVCDSWL_FILETRANSFER_COMPLETED = 3
} NUVCDSWL_FILETRANSFER_STATUS;

// "IN_PROGRESS", "STOPPED", "ERROR" or "COMPLETED"; "ERROR" for any other.
inline const char* TransferStatusText(NUVCDSWL_FILETRANSFER_STATUS status) {
  switch (status) {
    case NUVCDSWL_FILETRANSFER_IN_PROGRESS:
      return "IN_PROGRESS";
    case NUVCDSWL_FILETRANSFER_STOPPED:
      return "STOPPED";
    case NUVCDSWL_FILETRANSFER_COMPLETED:
      return "COMPLETED";
    default:
      return "ERROR";
  }
}

#endif  // DMS_TRANSFER_TRANSFER_STATUS_H
