#!/usr/bin/env bash
# Checks what a shared library of the project exports (nm -DC --defined-only).
# It fails on
# - a symbol outside the library's own namespaces, unless it is one of the
#   third-party exception type information entries exported on purpose (each
#   listed below, exactly);
# - a symbol of a detail namespace or of a class's private implementation
#   (Impl): internals are tested through the object libraries, never exported
#   for the tests;
# - a missing required symbol: the listed third-party entries, and a few
#   representative symbols of each family of the interface.
#
# Usage: scripts/check_symbols.sh LIBRARY lxbase|lxscan
set -euo pipefail

if [ $# -ne 2 ]; then
    echo "usage: $0 LIBRARY lxbase|lxscan" >&2
    exit 2
fi
library=$1
kind=$2

# The demangled names, without address and type letter.
symbols=$(nm -DC --defined-only "$library" | sed -E 's/^[0-9a-fA-F]* *[A-Za-z] //')
if [ -z "$symbols" ]; then
    echo "$library: no dynamic symbols" >&2
    exit 1
fi

case "$kind" in
lxbase)
    # Functions, static members, vtables and type information of lxbase and
    # lxmath (a function template instantiation shows its return type first).
    own='^((typeinfo|typeinfo name|vtable) for |bool )?(lxbase|lxmath)::'
    # The type information that clients need to catch, by type, the exceptions
    # of utf8-cpp and Boost that text conversion, Date and UUID let through.
    third_party=$(cat <<'EOF'
typeinfo for utf8::exception
typeinfo for utf8::invalid_code_point
typeinfo for utf8::invalid_utf8
typeinfo for utf8::invalid_utf16
typeinfo for utf8::not_enough_room
typeinfo for boost::exception
typeinfo for boost::gregorian::bad_year
typeinfo for boost::gregorian::bad_month
typeinfo for boost::gregorian::bad_day_of_month
typeinfo for boost::bad_lexical_cast
typeinfo for boost::uuids::entropy_error
typeinfo for boost::wrapexcept<boost::gregorian::bad_year>
typeinfo for boost::wrapexcept<boost::gregorian::bad_month>
typeinfo for boost::wrapexcept<boost::gregorian::bad_day_of_month>
typeinfo for boost::wrapexcept<boost::bad_lexical_cast>
typeinfo for boost::wrapexcept<boost::uuids::entropy_error>
typeinfo for boost::wrapexcept<std::runtime_error>
EOF
    )
    third_party+=$'\n'$(sed 's/^typeinfo for /typeinfo name for /' <<< "$third_party")
    # Representative symbols of each family: the start of the demangled name.
    required=(
        # Streams, files, header, large text file, exceptions.
        'lxbase::OutMemoryStream::Write(' 'lxbase::InMemoryStream::Read('
        'lxbase::lxInFile::Open(' 'lxbase::lxInFile::SeekEnd(' 'lxbase::lxOutFile::Write('
        'lxbase::lxOutFile::TruncateToCurrentPosition(' 'lxbase::IOHeader::Read('
        'lxbase::IOHeader::Write(' 'lxbase::LargeIfstream::Getline(' 'lxbase::LargeIfstream::Open('
        'vtable for lxbase::IOHeader' 'typeinfo for lxbase::IInFileStream'
        'typeinfo for lxbase::IOutFileStream' 'typeinfo for lxbase::LXException'
        'typeinfo for lxbase::LXWritingException' 'lxbase::LXException::what('
        # Points, Z-order, frames.
        'lxbase::tBaseXYZPoint<float>::Range(' 'lxbase::tBaseXYZPoint<double>::Range('
        'lxbase::tBaseXYZPoint<float>::operator<(' 'lxbase::tBaseXYZPoint<double>::operator<('
        'lxbase::tBasePolarPoint<float>::tBasePolarPoint(' 'lxbase::tBasePolarPoint<double>::tBasePolarPoint('
        'lxbase::SortZOrder(' 'lxbase::ZOrderPermutation('
        'lxmath::Frame::Frame(' 'lxmath::Frame::PropagatePoints(' 'lxmath::Frame::BackPropagatePoints('
        'lxmath::Frame::PropagateFrame(' 'lxmath::Frame::operator lxbase::RegistrationInformation('
        'lxmath::Mat4<double>::Mat4('
        # Colours and the packed record.
        'lxbase::t_RGBType<char>::GetColor(' 'lxbase::t_RGBType<unsigned char>::GetColor('
        'lxbase::t_RGBType<float>::GetColor(' 'bool lxbase::operator< <unsigned char>('
        'lxbase::HSLType::HSLType(' 'lxbase::HNormalRGB::SetNormal(' 'lxbase::HNormalRGB::GetNormal('
        'lxbase::HNormalRGB::RMask'
        # Text, UUID, date, component names.
        'lxbase::Encode_UTF8(' 'lxbase::Decode_UTF8(' 'lxbase::ConvertString('
        'lxbase::UUID::Generate(' 'lxbase::UUID::isValid(' 'lxbase::UUID::ToString'
        'lxbase::Date::Date(' 'lxbase::Date::ToISOString' 'lxbase::Date::NoDate('
        'lxbase::ComponentToString' 'lxbase::StringToComponent('
    )
    ;;
lxscan)
    own='^((typeinfo|typeinfo name|vtable) for )?lxscan::'
    third_party=''
    required=('lxscan::ScanWriter::' 'lxscan::ScanReader::' 'lxscan::Convert('
              'typeinfo for lxscan::ScanError')
    ;;
*)
    echo "usage: $0 LIBRARY lxbase|lxscan" >&2
    exit 2
    ;;
esac

status=0
report() {  # report TITLE LINES...
    echo "$library $1:" >&2
    sed 's/^/  /' <<< "$2" | head -n 40 >&2
    status=1
}

foreign=$(grep -vE "$own" <<< "$symbols" | grep -vxF -f <(printf '%s\n' "$third_party" | grep .) || true)
[ -z "$foreign" ] || report "exports symbols that are not its own" "$foreign"

internal=$(grep -E '(^|[^[:alnum:]_])(lxbase|lxmath|lxscan)::(detail::|internal::|([[:alnum:]_]+::)+Impl::)' \
    <<< "$symbols" || true)
[ -z "$internal" ] || report "exports internals" "$internal"

if [ -n "$third_party" ]; then
    absent=$(grep -vxF -f <(printf '%s\n' "$symbols") <<< "$third_party" || true)
    [ -z "$absent" ] || report "does not export the type information of" "$absent"
fi
for name in "${required[@]}"; do
    grep -qF -- "$name" <<< "$symbols" || report "does not export" "$name"
done

if [ "$status" -eq 0 ]; then
    echo "$library: $(wc -l <<< "$symbols") symbols, all its own or listed, none missing"
fi
exit "$status"
