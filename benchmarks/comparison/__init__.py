"""What benchmarks/run measures, one module for each table."""
