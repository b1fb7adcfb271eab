/// \file
/// Live datasets, buffers and descriptions.
#ifndef ORMO_HOST_MODELS_DATASETS_H
#define ORMO_HOST_MODELS_DATASETS_H

#include <cstddef>
#include <map>
#include <vector>

#include "models/model.h"
#include "runtime/table.h"
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

using Descs = HandleTable<zelmdlDesc*, ModelDescription>;
using Datasets = HandleTable<zelmdlDataset*, Dataset>;
using DataBuffers = HandleTable<zelDataBuffer*, DataBuffer>;
using TensorDescs = HandleTable<zelTensorDesc*, const Shape>;

}  // namespace OrmoHost

#endif  // ORMO_HOST_MODELS_DATASETS_H
