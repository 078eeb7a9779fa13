"""Plants one fault at a time in the product's code, and looks which of them no unit test sees."""
