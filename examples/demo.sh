#!/bin/sh
# demo.sh TABFIT FOLDER: works on four real tables with the tabfit command; leaves tables, coefficients
# and pictures in FOLDER.
set -eu
tabfit=$1 folder=$2
data=$(dirname "$0")/data
mkdir -p "$folder"

# interpolate NAME START:STOP:COUNT - linear and cubic tables, and one picture with both curves.
interpolate() {
  "$tabfit" interpolate "$data/$1.csv" --method linear --at "$2" --output "$folder/$1-linear.csv"
  "$tabfit" interpolate "$data/$1.csv" --method cubic --derivatives --at "$2" \
    --output "$folder/$1-cubic.csv" --plot "$folder/$1.svg"
  echo "$1: tables $folder/$1-linear.csv and $folder/$1-cubic.csv, picture $folder/$1.svg"
}

# fit NAME KIND OPTION... - fitted values and residuals, the coefficients, and a picture of all.
fit() {
  name=$1 result=$folder/$1-$2
  shift 2
  echo
  "$tabfit" fit "$data/$name.csv" "$@" --output "$result.csv" --coefficients "$result.json" \
    --plot "$result.svg" 2>&1 | sed "s/^tabfit:/$name:/"
  [ -f "$result.json" ]
  echo "  table $result.csv, coefficients $result.json, picture $result.svg"
}

interpolate mercury-vapour-pressure 0:360:73
interpolate titanium 595:1075:97

echo
echo "mercury-vapour-pressure.csv at five temperatures, cubic:"
"$tabfit" interpolate "$data/mercury-vapour-pressure.csv" --method cubic --derivatives \
  --at 50,150,250,300,350 --format table

fit titanium spline --spline 24
fit motorcycle spline --spline 12 --average-repeated
fit mercury-vapour-pressure polynomial --polynomial 6

echo
echo "titanium.csv around its peak, from the kept spline:"
"$tabfit" evaluate "$folder/titanium-spline.json" --at 880:910:4 --derivatives --format table

echo
echo "longley.csv, employment explained by the other columns:"
"$tabfit" solve "$data/longley.csv" --response employment --intercept --format table \
  --fitted "$folder/longley-rows.txt"
