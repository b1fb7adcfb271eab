/// \file
/// Live datasets, buffers and descriptions.
#ifndef ORMO_HOST_MODELS_DATASETS_H
#define ORMO_HOST_MODELS_DATASETS_H

#include <cstddef>
#include <map>
#include <vector>

#include "models/model.h"
#include "runtime/handle_table.h"
#include "zel/zel_mdl.h"

namespace OrmoHost {

struct DataBuffer {
  void* data;
  size_t size;
};

struct Dataset {
  std::vector<zelDataBuffer*> buffers;
  std::map<size_t, Shape> shapes;
  Setting setting;  ///< for the next execution
};

HandleTable<zelmdlDesc*, ModelDescription>& AllDescs();
HandleTable<zelmdlDataset*, Dataset>& AllDatasets();
HandleTable<zelDataBuffer*, DataBuffer>& AllDataBuffers();
HandleTable<zelTensorDesc*, const Shape>& AllTensorDescs();

}  // namespace OrmoHost

#endif  // ORMO_HOST_MODELS_DATASETS_H
