#include "Imaging/vtkTZMBaseImageAlgorithm.h"

void vtkTZMBaseImageAlgorithm::PrintSelf(std::ostream& os, vtkIndent indent) {
    this->Superclass::PrintSelf(os, indent);
}

void vtkTZMBaseImageAlgorithm::CollectRevisions(std::ostream& os) {
    os << "vtkTZMBaseImageAlgorithm $Revision: 0.1 $\n";
}
